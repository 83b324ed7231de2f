#include "worker.h"

#include "event.h"
#include "pseudo_terminal.h"

#include <gmock/gmock.h>

#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;

namespace
{

/// Has a job hang as on a disk that does not answer, until it is opened.
class gate
{
public:
    gate() = default;
    ~gate() { open(); }
    gate(const gate&) = delete;
    gate& operator=(const gate&) = delete;

    [[nodiscard]] auto work() const
    {
        return [events = events_](const cancel_flag&) {
            events->started.set();
            return events->opened.wait() ? 1 : -1;
        };
    }

    void wait_for_start() const { EXPECT_TRUE(events_->started.wait()); }
    void open() { events_->opened.set(); }

private:
    struct events {
        event started;
        event opened;
    };
    std::shared_ptr<events> events_ = std::make_shared<events>();
};

/// As the kernel counts them; a listing of /proc/self/task may miss some while another one ends.
int thread_count()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (word != "Threads:" && status >> word) {
    }
    int count = 0;
    status >> count;
    return count;
}

class worker_test : public ::testing::Test
{
protected:
    /// Sees that also idle and abandoned threads end.
    void TearDown() override
    {
        worker_.reset();
        EXPECT_TRUE(wait_until([this] { return thread_count() == threads_before_; }));
    }

    auto done()
    {
        return [this](int result) { results_.push_back(result); };
    }

    template <class Work>
    [[nodiscard]] job run(Work work)
    {
        return worker_->run(work, done());
    }

    [[nodiscard]] job run_returning(int result)
    {
        return run([result](const cancel_flag&) { return result; });
    }

    /// Runs the loop until so many jobs are done.
    std::vector<int> wait_for_results(std::size_t count)
    {
        EXPECT_TRUE(run_until(loop_, [&] { return results_.size() >= count; }));
        return results_;
    }

    const int threads_before_ = thread_count();
    event_loop loop_;
    std::optional<worker> worker_{loop_};
    std::vector<int> results_;
};

} // namespace

TEST_F(worker_test, runs_jobs_in_order_on_one_other_thread)
{
    EXPECT_EQ(thread_count(), threads_before_);
    std::vector<std::thread::id> threads;
    const auto recorded = [&threads](int result) {
        return [&threads, result](const cancel_flag&) {
            threads.push_back(std::this_thread::get_id());
            return result;
        };
    };
    const job first = run(recorded(1));
    const job second = run(recorded(2));
    EXPECT_THAT(wait_for_results(2), ElementsAre(1, 2));
    const job third = run(recorded(3));
    EXPECT_THAT(wait_for_results(3), ElementsAre(1, 2, 3));
    EXPECT_THAT(threads, Each(AllOf(threads.front(), Ne(std::this_thread::get_id()))));
    EXPECT_EQ(thread_count(), threads_before_ + 1);
}

TEST_F(worker_test, drops_a_result_that_is_posted_when_the_job_is_cancelled)
{
    std::optional<job> second;
    const job first =
        worker_->run([](const cancel_flag&) { return 1; }, [&](int) { second.reset(); });
    second = run_returning(2);
    const job third = run_returning(3);
    EXPECT_THAT(wait_for_results(1), ElementsAre(3));
}

TEST_F(worker_test, runs_no_job_that_is_cancelled_while_it_waits)
{
    gate hanging;
    const job first = run(hanging.work());
    bool runs = false;
    run([&runs](const cancel_flag&) { return runs = true; }).cancel();
    const job last = run_returning(2);
    hanging.open();
    EXPECT_THAT(wait_for_results(2), ElementsAre(1, 2));
    EXPECT_FALSE(runs);
}

TEST_F(worker_test, abandons_a_stuck_job_for_the_next_one)
{
    gate first;
    job stuck = run(first.work());
    first.wait_for_start();
    stuck.cancel();
    gate second;
    stuck = run(second.work());
    second.wait_for_start();
    const job waiting = run_returning(2);
    stuck = job();
    EXPECT_THAT(wait_for_results(1), ElementsAre(2));
    first.open();
    second.open();
    const job last = run_returning(3);
    EXPECT_THAT(wait_for_results(2), ElementsAre(2, 3));
}

TEST_F(worker_test, has_jobs_wait_when_eight_are_stuck)
{
    std::vector<gate> gates(8);
    for (const gate& one : gates) {
        job stuck = run(one.work());
        one.wait_for_start();
        stuck.cancel();
    }
    const job waiting = run_returning(1);
    EXPECT_EQ(thread_count(), threads_before_ + 8);
    EXPECT_THAT(results_, IsEmpty());
    gates.front().open();
    EXPECT_THAT(wait_for_results(1), ElementsAre(1));
}

TEST_F(worker_test, informs_the_running_job_that_it_is_cancelled)
{
    const auto started = std::make_shared<event>();
    const auto noticed = std::make_shared<event>();
    job endless = run([started, noticed](const cancel_flag& cancelled) {
        started->set();
        if (wait_until([&] { return cancelled.is_set(); })) {
            noticed->set();
        }
        return 1;
    });
    EXPECT_TRUE(started->wait());
    endless.cancel();
    EXPECT_TRUE(noticed->wait());
}

TEST_F(worker_test, ends_at_once_while_a_job_is_stuck)
{
    gate hanging;
    const job stuck = run(hanging.work());
    hanging.wait_for_start();
    const job waiting = run_returning(2);
    worker_.reset();
    hanging.open();
    EXPECT_THAT(wait_for_results(0), IsEmpty());
}

TEST_F(worker_test, reports_a_default_result_of_a_job_that_fails_or_cannot_run)
{
    const job failing = run([](const cancel_flag&) -> int { throw std::runtime_error("no"); });
    EXPECT_THAT(wait_for_results(1), ElementsAre(0));
    worker_.emplace(loop_);
    pthread_attr_t former;
    pthread_attr_t impossible;
    ASSERT_EQ(pthread_getattr_default_np(&former), 0);
    ASSERT_EQ(pthread_attr_init(&impossible), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&impossible, std::size_t{1} << 48U), 0);
    ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
    const job impossible_job = run_returning(1);
    EXPECT_EQ(results_.size(), 1U) << "only the loop reports results";
    EXPECT_THAT(wait_for_results(2), ElementsAre(0, 0));
    ASSERT_EQ(pthread_setattr_default_np(&former), 0);
    const job next = run_returning(2);
    EXPECT_THAT(wait_for_results(3), ElementsAre(0, 0, 2));
}

TEST_F(worker_test, destroys_what_is_done_afterwards_on_the_loops_thread)
{
    std::thread::id where;
    const auto record = [&where](void*) { where = std::this_thread::get_id(); };
    gate hanging;
    job stuck =
        worker_->run(hanging.work(), [witness = std::shared_ptr<void>(nullptr, record)](int) {});
    hanging.wait_for_start();
    stuck.cancel();
    EXPECT_EQ(where, std::this_thread::get_id());
}
