#pragma once

#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

namespace vorn::test {

// A thread of its own that runs one job at a time on request and keeps its
// connections between them: each job runs on that thread's connections.
class Worker {
  public:
    Worker() : m_thread([this] { loop(); }) {}
    ~Worker() {
        post({});  // no job: the end
        m_thread.join();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Runs job on the worker's thread; returns what it returns once it has.
    template <typename Job>
    auto run(Job job) {
        // Shared: the thread may still be leaving the task when the result is here.
        auto task = std::make_shared<std::packaged_task<decltype(job())()>>(std::move(job));
        auto done = task->get_future();
        post([task] { (*task)(); });
        return done.get();
    }

  private:
    void post(std::function<void()> job) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_job = std::move(job);
        m_posted = true;
        m_ready.notify_one();
    }
    void loop() {
        for (;;) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_ready.wait(lock, [this] { return m_posted; });
            m_posted = false;
            const std::function<void()> job = std::move(m_job);
            lock.unlock();
            if (!job) {
                return;
            }
            job();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::function<void()> m_job;
    bool m_posted = false;
    std::thread m_thread;  // last: starts once the rest is made
};

}  // namespace vorn::test
