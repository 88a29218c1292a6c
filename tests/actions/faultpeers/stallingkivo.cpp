// A simulator that answers its interrogation only halfway and then waits for
// ever: the first half of the version line, and nothing more until a signal
// ends it. Plain C++ without Qt, like the other fake simulator.

#include <cstdio>
#include <unistd.h>

int main()
{
    std::fputs("Kivo 3.1 (Version: 3.1.0,", stdout);
    std::fflush(stdout);
    for (;;)
        pause();
}
