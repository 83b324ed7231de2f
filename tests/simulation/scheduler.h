/// \file
/// \brief Threads that run one at a time, in an order drawn from a seed, in virtual time.
///
/// A thread runs until its next point, where the scheduler chooses who goes on. What runs between two
/// points is one step.
#pragma once

#include "fiber.h"
#include "operation.h"
#include "random.h"

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace simulation
{

/// Virtual milliseconds.
using milliseconds = std::uint64_t;
constexpr milliseconds never = std::numeric_limits<milliseconds>::max();

struct stop_request;

/// A simulated thread.
struct thread {
    thread(std::string thread_name, unsigned thread_weight, std::function<void()> body)
        : name(std::move(thread_name)), weight(thread_weight), flow(std::move(body))
    {
    }

    const std::string name;
    const unsigned weight; ///< How likely it is chosen, against the others.
    fiber flow;
    const void* waits_for = nullptr; ///< The event that it waits for; null while it can run.
    milliseconds until = never;      ///< When it goes on without the event.
    bool ended = false;
    std::vector<pthread_mutex_t*> locks; ///< That it holds, in the order taken.
    operation request = operation::none; ///< The function of the interface that it is in.
    stop_request* stop = nullptr;        ///< The stop that it is asking for.
    int creates = 0;                     ///< The number of the player that it is making.
    std::vector<operation> jobs; ///< What asked for the tasks that it is in, innermost last.
};

class scheduler
{
public:
    /// `seed` draws the schedule. With `trace` each step is written on standard error.
    scheduler(std::uint64_t seed, bool trace);
    ~scheduler();
    scheduler(const scheduler&) = delete;
    scheduler& operator=(const scheduler&) = delete;

    /// The one that exists, or null.
    static scheduler* running();

    /// Adds a thread.
    thread& start(const std::string& name, std::function<void()> body);

    /// Runs all threads to their ends.
    void run();

    /// The end of a step, told in a word: any thread may go on.
    void point(const char* what, const std::string& of = "");

    /// Waits for `event`, or until a time has come.
    void wait(const void* event, milliseconds until = never);

    /// All that wait for `event` can go on.
    void notify(const void* event);

    void sleep(milliseconds duration);

    [[nodiscard]] milliseconds now() const { return now_; }
    [[nodiscard]] std::uint64_t steps() const { return steps_; }
    [[nodiscard]] random_sequence& choices() { return choices_; }

    /// The thread that runs; null outside of them.
    [[nodiscard]] thread* current() const { return current_; }

private:
    void end_step(const char* what, const std::string& of);
    void let_time_pass();
    bool advance();
    thread& choose();
    thread* choose_among_ready();
    void go_on();
    [[nodiscard]] std::string waiting_threads() const;
    void run_to_end(std::size_t index, const std::function<void()>& body);

    random_sequence choices_;
    const bool trace_;
    const unsigned persistence_; ///< In percent: how often a thread goes on by itself.
    const unsigned haste_;       ///< Once in so many steps time passes while threads could run.
    milliseconds now_ = 0;
    std::uint64_t steps_ = 0;
    std::vector<std::unique_ptr<thread>> threads_;
    thread* current_ = nullptr;
    fiber outside_;
};

} // namespace simulation
