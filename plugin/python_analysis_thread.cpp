#include "plugin/python_analysis_thread.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace ke2 {

namespace {

struct Job {
    std::function<void()> run;
    std::function<void()> dropped;
    unsigned generation = 0;
};

// Started with the first job, so programs that never ask pay for no thread.
class Worker {
public:
    ~Worker()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
            ++m_generation;
        }
        m_wake.notify_all();
        if (m_thread.joinable())
            m_thread.join();
    }

    void Submit(Job job)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            job.generation = m_generation;
            m_jobs.push_back(std::move(job));
            if (!m_thread.joinable())
                m_thread = std::thread([this] { Loop(); });
        }
        m_wake.notify_all();
    }

    void Drain()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_generation;
        m_idle.wait(lock, [this] { return m_jobs.empty() && !m_running; });
    }

private:
    void Loop()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return m_stop || !m_jobs.empty(); });
            if (m_jobs.empty() && m_stop)
                return;
            Job job = std::move(m_jobs.front());
            m_jobs.pop_front();
            const bool current = job.generation == m_generation && !m_stop;
            m_running = true;
            lock.unlock();
            if (current && job.run)
                job.run();
            else if (job.dropped)
                job.dropped();
            job = Job(); // what the job holds goes before the queue looks idle
            lock.lock();
            m_running = false;
            if (m_jobs.empty())
                m_idle.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<Job> m_jobs;
    std::thread m_thread;
    unsigned m_generation = 0;
    bool m_running = false;
    bool m_stop = false;
};

Worker &worker()
{
    static Worker instance;
    return instance;
}

} // namespace

void PythonAnalysisThread::Submit(std::function<void()> job, std::function<void()> dropped)
{
    worker().Submit({std::move(job), std::move(dropped), 0});
}

void PythonAnalysisThread::Drain()
{
    worker().Drain();
}

} // namespace ke2
