// Threads that take jobs from a queue, and an eventfd that calls the loop when one is done.
#include "ravd/workers.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace ravd {

struct Workers::Shared {
    struct Task {
        Job work, done;
    };

    Shared(event_base *base, size_t thread_count, size_t queue_length);
    ~Shared();

    void start();
    void run();
    void collect();

    const size_t threads_wanted, queue_limit;
    const int bell;
    event *const on_bell;
    std::vector<std::thread> threads;

    std::mutex mutex;  // of all below
    std::condition_variable wanted;
    std::deque<Task> queued;
    std::vector<Job> finished;
    bool ending = false;
};

Workers::Shared::Shared(event_base *base, size_t thread_count, size_t queue_length)
    : threads_wanted(thread_count),
      queue_limit(queue_length),
      bell(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      on_bell(event_new(
          base, bell, EV_READ | EV_PERSIST,
          [](evutil_socket_t, short, void *self) { static_cast<Shared *>(self)->collect(); }, this)) {
    event_add(on_bell, nullptr);
}

Workers::Shared::~Shared() {
    {
        const std::lock_guard lock(mutex);
        ending = true;
    }
    wanted.notify_all();
    for (std::thread &thread : threads) thread.join();
    event_free(on_bell);
    close(bell);
}

// Signals are the loop's.
void Workers::Shared::start() {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    while (threads.size() < threads_wanted) threads.emplace_back([this] { run(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Workers::Shared::run() {
    std::unique_lock lock(mutex);
    for (;;) {
        wanted.wait(lock, [this] { return ending || !queued.empty(); });
        if (ending) return;
        Task task = std::move(queued.front());
        queued.pop_front();
        lock.unlock();
        task.work();
        task.work = nullptr;
        lock.lock();
        finished.push_back(std::move(task.done));
        eventfd_write(bell, 1);
    }
}

void Workers::Shared::collect() {
    eventfd_t rings = 0;
    eventfd_read(bell, &rings);
    std::vector<Job> jobs;
    {
        const std::lock_guard lock(mutex);
        jobs.swap(finished);
    }
    for (const Job &done : jobs) done();
}

Workers::Workers(event_base *base, size_t threads, size_t queue)
    : shared_(std::make_unique<Shared>(base, threads, queue)) {}

Workers::~Workers() = default;

bool Workers::post(Job work, Job done) {
    {
        const std::lock_guard lock(shared_->mutex);
        if (shared_->queued.size() >= shared_->queue_limit) return false;
        shared_->queued.push_back({std::move(work), std::move(done)});
    }
    if (shared_->threads.empty()) shared_->start();
    shared_->wanted.notify_one();
    return true;
}

}  // namespace ravd
