#pragma once

#include <functional>

namespace ke2 {

// One thread beside the user-interface thread for the host's Python analysis, where the host says
// its interpreter may be called from there (it takes its own lock). Jobs run one at a time in the
// order given; a job hands its result back to the user-interface thread itself.
class PythonAnalysisThread {
public:
    // Queues `job`. When the queue is drained before the job starts, `dropped` runs instead; both
    // run on the analysis thread.
    static void Submit(std::function<void()> job, std::function<void()> dropped);
    // Drops the jobs not started and waits for the running one: called before the host goes away.
    static void Drain();
};

} // namespace ke2
