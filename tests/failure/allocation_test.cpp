#include "failing_allocation.h"
#include "failure_test.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <tuple>

// Each function in each status, with each allocation failing in turn that it and all that follows from it
// makes, on whatever thread. A caller that is told so has asked for nothing; the player gets over it in any
// case.

namespace
{

/// Whether the request is one call of a function, and does not wait for what follows from it.
bool is_function(const request& asked)
{
    return asked.name.rfind("qz_audio_", 0) == 0;
}

void make_and_destroy(const qz_audio_ptr&, bool)
{
    const qz_audio_ptr made = qz_audio_new();
    try {
        qz_audio_destroy(made, "main", 1);
    } catch (const std::bad_alloc&) {
        qz_audio_destroy(made, "main", 2);
        throw;
    }
}

/// The functions, and the requests with more to follow.
std::vector<request> all_requests()
{
    std::vector<request> all{{"qz_audio_new", make_and_destroy}};
    for (const auto& function : all_functions()) {
        if (function.name != "qz_audio_new") {
            all.push_back(
                {function.name, [call = function.call](const qz_audio_ptr& p, bool) { call(p); }});
        }
    }
    std::remove_copy_if(requests().begin(), requests().end(), std::back_inserter(all), is_function);
    return all;
}

class FailingAllocationTest : public FailureTest
{
protected:
    /// Makes the request while the `number`-th allocation fails. Returns false when there are not so many.
    bool fail(const request& asked, qz_audio_status in, unsigned number)
    {
        refused_ = false;
        std::optional<failing_allocation> failing;
        const auto ask = [&](const qz_audio_ptr& by, bool playing) {
            failing.emplace(number);
            try {
                asked.ask(by, playing);
            } catch (const std::bad_alloc&) {
                refused_ = true;
            }
            failed_at_once_ = failing_allocation::has_failed();
        };
        make({asked.name, ask}, in);
        const bool failed = failing_allocation::has_failed();
        failing.reset();
        take_escaped_exceptions();
        return failed;
    }

    /// Whether the caller was told that there is no memory.
    [[nodiscard]] bool was_refused() const { return refused_; }

    /// Whether it was for the caller that there was none, and not for what followed.
    [[nodiscard]] bool failed_at_once() const { return failed_at_once_; }

private:
    bool refused_ = false;
    bool failed_at_once_ = false;
};

} // namespace

class AllocationTest : public FailingAllocationTest,
                       public testing::WithParamInterface<std::tuple<request, qz_audio_status>>
{
};

TEST_P(AllocationTest, FailsAndThePlayerGetsOverIt)
{
    const auto& [asked, in] = GetParam();
    unsigned number = 1;
    for (; fail(asked, in, number); ++number) {
        SCOPED_TRACE(number);
        if (is_function(asked)) {
            EXPECT_EQ(was_refused(), failed_at_once());
        }
        const bool destroyed = property<bool>("object-destroyed");
        EXPECT_EQ(destroyed, asked.name == "qz_audio_destroy" && !was_refused());
        check_at_rest();
        if (!destroyed) {
            check_that_a_stop_is_answered();
            check_that_a_track_plays();
        }
        start_over();
    }
    RecordProperty("failures", std::to_string(number - 1));
}

INSTANTIATE_TEST_SUITE_P(Of, AllocationTest,
                         testing::Combine(testing::ValuesIn(all_requests()),
                                          testing::ValuesIn(all_statuses())),
                         [](const auto& row) {
                             return case_name(std::get<0>(row.param), std::get<1>(row.param));
                         });

class StopAllocationTest : public FailingAllocationTest,
                           public testing::WithParamInterface<qz_audio_status>
{
};

TEST_P(StopAllocationTest, FailsAndTheStopIsAnsweredOnceUnlessItWasRefused)
{
    unsigned answers = 0;
    const request stop{"qz_audio_stop", [&answers](const qz_audio_ptr& p, bool) {
                           qz_audio_stop(p, [&answers](const qz_audio_ptr&) { ++answers; });
                       }};
    for (unsigned number = 1; fail(stop, GetParam(), number); ++number) {
        SCOPED_TRACE(number);
        EXPECT_EQ(std::exchange(answers, 0U), was_refused() ? 0U : 1U);
        EXPECT_NE(status(), qz_audio_status_playing);
        start_over();
    }
    EXPECT_EQ(answers, 1U);
}

INSTANTIATE_TEST_SUITE_P(In, StopAllocationTest, testing::ValuesIn(all_statuses()),
                         [](const auto& tested) { return status_name(tested.param); });

/// The functions that take a handle, without one.
class EmptyHandleAllocationTest : public PlatformTest,
                                  public testing::WithParamInterface<exported_function>
{
};

TEST_P(EmptyHandleAllocationTest, FailsAndNothingIsThrown)
{
    bool failed = true;
    for (unsigned number = 1; failed; ++number) {
        const failing_allocation failing(number);
        EXPECT_NO_THROW(GetParam().call(nullptr)) << number;
        failed = failing_allocation::has_failed();
    }
    EXPECT_FALSE(take_output().empty()) << "the warning of the last one";
}

INSTANTIATE_TEST_SUITE_P(Of, EmptyHandleAllocationTest, testing::ValuesIn(functions_of_a_handle()),
                         [](const auto& tested) { return tested.param.name; });
