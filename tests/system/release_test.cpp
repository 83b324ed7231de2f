#include "service_test.h"

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

// Services that are let go without a stop, in every place.

namespace
{

class ReleaseTest : public ServiceTest
{
protected:
    /// Gives `hand_over` the service and something for a closure to own, which holds the last handle:
    /// it notes "released" when the closure lets it go. The service's thread is busy meanwhile.
    void with_last_handle(
        const std::function<void(const service_ptr&, std::shared_ptr<void>)>& hand_over)
    {
        const busy blocked(service);
        const service_ptr handle = std::exchange(service, nullptr);
        hand_over(handle, at_end([this, held = handle]() mutable {
                      const service_weak watch = held;
                      held.reset();
                      EXPECT_TRUE(watch.expired());
                      log.note("released");
                  }));
    }
};

/// Owns a service as a player does.
class owner : public _qz_object
{
public:
    explicit owner(journal& log) : log_(log) {}
    ~owner() override
    {
        service.reset();
        log_.note("owner gone");
    }
    boost::shared_ptr<_qz_object> shared_object() override
    {
        return boost::static_pointer_cast<_qz_object>(shared_from_this());
    }
    std::string type_tag() override { return "[owner]"; }
    void destroy(std::string, int) override {}

    service_ptr service = make_service();

private:
    journal& log_;
};

} // namespace

// That every thread ends is checked after each test.

TEST_F(ReleaseTest, OfAnIdleServiceEndsItsThread)
{
    service.reset();
}

TEST_F(ReleaseTest, DestroysClosuresOfWhatWaits)
{
    busy blocked(service);
    post_noting(service);
    set_noting_interval(service, 0);
    service.reset();
    blocked.end();
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("task gone", "interval gone"));
}

TEST_F(ReleaseTest, WhileATaskRunsLetsItFinish)
{
    busy running(service, [this] { log.note("task ends"); });
    service.reset();
    running.end();
    ASSERT_TRUE(log.wait_for(1));
}

TEST_F(ReleaseTest, ByTheClosureOfItsOwnTask)
{
    with_last_handle([](const service_ptr& handle, std::shared_ptr<void> last) {
        post(handle, [last = std::move(last)] {});
    });
    EXPECT_TRUE(log.wait_for(1));
}

TEST_F(ReleaseTest, ByTheClosureOfItsOwnTaskWithMoreWorkBehind)
{
    with_last_handle([this](const service_ptr& handle, std::shared_ptr<void> last) {
        post(handle, [last = std::move(last)] {});
        post_noting(handle);
    });
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("released", "task gone"));
}

TEST_F(ReleaseTest, ByTheClosureOfItsOwnTick)
{
    with_last_handle([](const service_ptr& handle, std::shared_ptr<void> last) {
        set_interval(
            handle, [last = std::move(last)] { return false; }, 1);
    });
    EXPECT_TRUE(log.wait_for(1));
}

TEST_F(ReleaseTest, ByWhatAStopDrops)
{
    with_last_handle([](const service_ptr& handle, std::shared_ptr<void> last) {
        post(handle, [last = std::move(last)] {});
        qz_thread_service_stop(handle, nullptr);
    });
    EXPECT_TRUE(log.wait_for(1));
}

TEST_F(ReleaseTest, AfterTheCompletionOfItsStop)
{
    const service_weak watch = service;
    {
        const busy blocked(service);
        qz_thread_service_stop(service, [this](const service_ptr&) { log.note("completion"); });
        service.reset();
    }
    ASSERT_TRUE(wait_until([&watch] { return watch.expired(); }));
    EXPECT_THAT(log.entries(), ElementsAre("completion"));
}

TEST_F(ReleaseTest, InsideItsOwnTask)
{
    const auto only = std::make_shared<service_ptr>(service);
    {
        const busy blocked(service);
        post(service, [this, only] {
            const service_weak own = *only;
            only->reset();
            EXPECT_TRUE(own.expired());
            log.note("task ends");
        });
        service.reset();
    }
    EXPECT_TRUE(log.wait_for(1));
}

TEST_F(ReleaseTest, InsideItsOwnTick)
{
    const auto only = std::make_shared<service_ptr>(service);
    {
        const busy blocked(service);
        set_interval(
            service,
            [this, only] {
                only->reset();
                log.note("tick ends");
                return true;
            },
            1);
        service.reset();
    }
    EXPECT_TRUE(log.wait_for(1));
}

TEST_F(ReleaseTest, OnTheSystemService)
{
    const service_weak watch = service;
    post_to_system([last = std::exchange(service, nullptr)] {});
    run_on_system();
    EXPECT_TRUE(watch.expired());
}

TEST_F(ReleaseTest, ByAnObjectWhoseLastOwnerIsATaskOfItsOwnService)
{
    boost::shared_ptr<owner> object(new owner(log));
    {
        const service_ptr handle = object->service;
        const busy blocked(handle);
        post(handle, [object = std::move(object)] {});
    }
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_THAT(log.entries(), ElementsAre("owner gone"));
}

TEST_F(ReleaseTest, OfManyServicesInAnyOrder)
{
    std::vector<service_ptr> services;
    for (int number = 0; number < 200; ++number) {
        services.push_back(make_service());
        post(services.back(), [this] { log.note("ran"); });
    }
    for (const auto& each : services) {
        run(each);
    }
    std::shuffle(services.begin(), services.end(), std::minstd_rand(1));
    services.clear();
    EXPECT_EQ(log.entries().size(), 200U);
}
