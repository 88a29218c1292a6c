#include "simulationcontrol.h"

void SimulationControl::requestCancel() { raise(Cancel); }

void SimulationControl::requestTerminate() { raise(Terminate); }

void SimulationControl::raise(Request r)
{
    {
        std::lock_guard<std::mutex> lock(mutex);
        Request cur = req.load();
        if (r > cur)
            req.store(r);
    }
    cv.notify_all();
}

void SimulationControl::pace(std::chrono::steady_clock::duration d)
{
    std::unique_lock<std::mutex> lock(mutex);
    cv.wait_for(lock, d, [this] { return req.load() != None; });
}
