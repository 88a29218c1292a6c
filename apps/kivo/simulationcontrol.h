#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

// Stop requests for a running simulation. Any thread may request; the worker
// polls stopRequested() at the end of each step and sleeps through pace().
class SimulationControl
{
public:
    enum Request { None = 0, Cancel = 1, Terminate = 2 };

    void requestCancel();
    void requestTerminate();
    // A terminate request wins over an earlier cancel, never the other way round.
    Request request() const { return req.load(); }
    bool stopRequested() const { return req.load() != None; }
    // Sleeps for the given time or until a stop is requested.
    void pace(std::chrono::steady_clock::duration d);

private:
    void raise(Request r);

    std::atomic<Request> req {None};
    std::mutex mutex;
    std::condition_variable cv;
};
