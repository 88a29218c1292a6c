// A stand-in for the simulator executable, for the runner's tests. What it
// does is chosen by environment variables, so that copies of it placed in any
// folder behave the same:
//   FAKE_KIVO_VERSION  answer to -pversion: ok, crlf, empty, nokivo, noversion,
//                      crash, hang
//   FAKE_KIVO_RUN      behaviour of a run: args (print the arguments, one per
//                      line, exit 0), exit3, crash, hang, stubborn (says that
//                      it ignores SIGTERM, then hangs), split (a two-byte
//                      character written in two reads), chatty (a line every
//                      20 ms until killed), flood (numbered lines as fast as
//                      the pipe takes them for FAKE_KIVO_FLOOD_SECONDS
//                      seconds, default 3, and at least FAKE_KIVO_FLOOD_LINES
//                      lines, then "flood done after N lines")
#include <chrono>
#include <cinttypes>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

namespace {

std::string env(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

void pause(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

[[noreturn]] void hang()
{
    for (;;)
        pause(1000);
}

[[noreturn]] void crash()
{
    std::fflush(stdout);
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
    std::abort();
}

int version()
{
    const std::string mode = env("FAKE_KIVO_VERSION");
    if (mode == "empty")
        return 0;
    if (mode == "crlf") {
        std::fputs("Kivo 3.1 (Version: 2.0.1, Revision: 1234)\r\nBuilt today\r\n", stdout);
        return 0;
    }
    if (mode == "nokivo") {
        std::fputs("Simulator 3.1 (Version: 2.0.1, Revision: 1234)\n", stdout);
        return 0;
    }
    if (mode == "noversion") {
        std::fputs("Kivo 3.1 (Revision: 1234)\n", stdout);
        return 0;
    }
    if (mode == "crash")
        crash();
    if (mode == "hang")
        hang();
    std::fputs("Kivo 3.1 (Version: 2.0.1, Revision: 1234)\nBuilt today\n", stdout);
    return 7; // the interrogation ignores the exit code
}

int run(int argc, char **argv)
{
    const std::string mode = env("FAKE_KIVO_RUN");
    if (mode == "exit3") {
        std::fputs("giving up\n", stdout);
        return 3;
    }
    if (mode == "crash") {
        std::fputs("about to crash\n", stdout);
        crash();
    }
    if (mode == "hang")
        hang();
    if (mode == "stubborn") {
        std::signal(SIGTERM, SIG_IGN);
        std::fputs("ignoring SIGTERM\n", stdout);
        std::fflush(stdout);
        hang();
    }
    if (mode == "split") {
        // U+00E9 is C3 A9 in UTF-8: the reader sees the two bytes apart.
        std::fputs("caf\xC3", stdout);
        std::fflush(stdout);
        pause(300);
        std::fputs("\xA9 au lait\n", stdout);
        return 0;
    }
    if (mode == "flood") {
        const std::string secondsText = env("FAKE_KIVO_FLOOD_SECONDS");
        const long seconds = secondsText.empty() ? 3 : std::atol(secondsText.c_str());
        const std::int64_t minLines = std::atoll(env("FAKE_KIVO_FLOOD_LINES").c_str());
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        std::int64_t lines = 0;
        while (lines < minLines || std::chrono::steady_clock::now() < end) {
            // Full stdio buffers: the pipe, not this loop, sets the pace.
            for (int i = 0; i < 1024; ++i, ++lines)
                std::printf("flood line %" PRId64 ": the simulator has a lot to say\n", lines);
        }
        std::printf("flood done after %" PRId64 " lines\n", lines + 1);
        return 0;
    }
    if (mode == "chatty") {
        for (int i = 0;; ++i) {
            std::printf("line %d\n", i);
            std::fflush(stdout);
            pause(20);
        }
    }
    for (int i = 1; i < argc; ++i)
        std::printf("[%s]\n", argv[i]);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "-pversion") == 0)
        return version();
    return run(argc, argv);
}
