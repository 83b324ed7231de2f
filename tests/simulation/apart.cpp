#include "apart.h"

#include "failure.h"
#include "simulation.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <new>
#include <streambuf>
#include <vector>

namespace simulation
{

namespace
{

/// A step that takes longer than this hangs.
constexpr unsigned longest_step_seconds = 60;

/// What a process tells the one that has started it.
struct progress {
    finding found;
    std::uint64_t seed;
    std::uint64_t schedule;
    std::uint64_t seeds;
    std::uint64_t steps;
};

/// Memory that processes share.
class shared_progress
{
public:
    shared_progress()
        : place_(mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                      -1, 0))
    {
        if (place_ == MAP_FAILED) {
            throw std::bad_alloc();
        }
    }
    ~shared_progress() { munmap(place_, sizeof(progress)); }
    shared_progress(const shared_progress&) = delete;
    shared_progress& operator=(const shared_progress&) = delete;

    progress* operator->() const { return static_cast<progress*>(place_); }

private:
    void* place_;
};

/// Forgets what the library writes on standard output.
void silence_standard_output()
{
    class : public std::streambuf
    {
        int overflow(int written) override { return written; }
        std::streamsize xsputn(const char*, std::streamsize size) override { return size; }
    } static nowhere;
    std::cout.rdbuf(&nowhere);
}

/// Starts a process that runs `work` and ends well if that returns.
template <typename Work>
pid_t start_process(const shared_progress& shared, const Work& work)
{
    std::fflush(nullptr);
    const pid_t process = fork();
    if (process != 0) {
        return process;
    }
    silence_standard_output();
    write_findings_to(shared->found);
    work();
    std::exit(EXIT_SUCCESS);
}

void run_one(const programme& to_run, bool trace, const shared_progress& shared)
{
    alarm(longest_step_seconds);
    shared->seed = to_run.seed;
    shared->schedule = to_run.schedule;
    shared->steps += simulate(to_run, trace);
    ++shared->seeds;
}

/// What the end of a process says of `run`; nothing where it ended well.
std::optional<defect> judge(int status, const programme& run, const shared_progress& shared)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS) {
        return std::nullopt;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == exit_with_finding) {
        return defect{run, shared->found.invariant, shared->found.text};
    }
    if (WIFSIGNALED(status)) {
        return defect{run, "the process lives", strsignal(WTERMSIG(status))};
    }
    return defect{run, "the process lives", "exit " + std::to_string(WEXITSTATUS(status))};
}

/// Runs every `stride`-th seed, from the `offset`-th on.
void run_share(const range& seeds, unsigned offset, unsigned stride, const shared_progress& shared)
{
    for (std::uint64_t i = offset; i < seeds.count; i += stride) {
        run_one(draw_programme(seeds.first + i), false, shared);
    }
}

} // namespace

std::optional<defect> run_apart(const programme& to_run, bool trace)
{
    const shared_progress shared;
    const pid_t process = start_process(shared, [&] { run_one(to_run, trace, shared); });
    int status = 0;
    waitpid(process, &status, 0);
    return judge(status, to_run, shared);
}

std::optional<defect> run_schedules_apart(const programme& to_run, std::uint64_t others)
{
    const shared_progress shared;
    programme run = to_run;
    const pid_t process = start_process(shared, [&] {
        run_one(run, false, shared);
        for (run.schedule = 1; run.schedule <= others; ++run.schedule) {
            run_one(run, false, shared);
        }
    });
    int status = 0;
    waitpid(process, &status, 0);
    run.schedule = shared->schedule;
    return judge(status, run, shared);
}

tally run_seeds(const range& seeds, unsigned processes)
{
    const std::vector<shared_progress> shared(processes);
    std::vector<pid_t> running(processes);
    for (unsigned i = 0; i < processes; ++i) {
        running[i] = start_process(shared[i], [&] { run_share(seeds, i, processes, shared[i]); });
    }
    tally total;
    for (unsigned ended = 0; ended < processes; ++ended) {
        int status = 0;
        const pid_t process = wait(&status);
        for (unsigned i = 0; i < processes; ++i) {
            if (running[i] == process && !total.first_defect) {
                running[i] = 0;
                total.first_defect = judge(status, draw_programme(shared[i]->seed), shared[i]);
            }
        }
        for (const pid_t each : running) {
            if (total.first_defect && each != 0) {
                kill(each, SIGTERM);
            }
        }
    }
    for (const shared_progress& each : shared) {
        total.seeds += each->seeds;
        total.steps += each->steps;
    }
    return total;
}

} // namespace simulation
