#include "captured_output.h"
#include "service_test.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

// Foreign code that the libraries run or destroy may call everything: none of it runs under a lock.

namespace
{

/// An object whose destructor is foreign code.
class foreign_object : public _qz_object
{
public:
    explicit foreign_object(std::function<void()> at_destruction)
        : at_destruction_(std::move(at_destruction))
    {
    }
    ~foreign_object() override { at_destruction_(); }
    boost::shared_ptr<_qz_object> shared_object() override
    {
        return boost::static_pointer_cast<_qz_object>(shared_from_this());
    }
    std::string type_tag() override { return "[foreign]"; }
    void destroy(std::string, int) override {}

private:
    std::function<void()> at_destruction_;
};

/// Calls the system service and the registry.
void call_the_rest()
{
    const service_ptr fresh = qz_thread_service_new("fresh");
    const boost::shared_ptr<_qz_object> object = qz_thread_service_to_object(fresh);
    qz_object_ref(object);
    EXPECT_TRUE(object->is_reffed());
    object->property_lock(__FILE__, __LINE__);
    boost::any value;
    EXPECT_TRUE(qz_property_get(object->property_list, "object-destroyed", value));
    object->describe();
    object->property_unlock();
    qz_object_unref_real(object);
    qz_object_ref_increment("[counted]");
    qz_object_ref_decrement("[counted]");
    qz_system_service_exec([] {}, __FILE__, __LINE__);
    qz_assertion_faild(false, "expression", "message", __FILE__, __LINE__);
}

/// Calls every function with the service, the last of them a stop.
void call_everything(const service_ptr& service)
{
    call_the_rest();
    qz_thread_service_exec(
        service, [] {}, __FILE__, __LINE__);
    const auto tick = [] { return false; };
    qz_thread_service_set_interval(service, tick, 0, __FILE__, __LINE__);
    qz_thread_service_clear_interval(
        service, qz_thread_service_set_interval(service, tick, one_day, __FILE__, __LINE__));
    qz_thread_service_stop(service, [](const service_ptr&) { call_the_rest(); });
}

using action = std::function<void()>;

/// A place where foreign code runs: `arrange` sees to it that `act` runs there, once.
struct place {
    std::string name;
    void (*arrange)(const service_ptr& service, const action& act);

    friend void PrintTo(const place& shown, std::ostream* out) { *out << shown.name; }
};

const place places[] = {
    {"Task", [](const service_ptr& service, const action& act) { post(service, act); }},
    {"NestedTask",
     [](const service_ptr& service, const action& act) {
         post(service, [service, act] {
             post(service, act);
             EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
         });
     }},
    {"Tick",
     [](const service_ptr& service, const action& act) {
         set_interval(
             service,
             [act] {
                 act();
                 return false;
             },
             1);
     }},
    {"Completion",
     [](const service_ptr& service, const action& act) {
         qz_thread_service_stop(service, [act](const service_ptr&) { act(); });
     }},
    {"LateCompletion",
     [](const service_ptr& service, const action& act) {
         stop(service);
         qz_thread_service_stop(service, [act](const service_ptr&) { act(); });
     }},
    {"SystemTask", [](const service_ptr&, const action& act) { post_to_system(act); }},
    {"ClosureOfATask",
     [](const service_ptr& service, const action& act) { post(service, [end = at_end(act)] {}); }},
    {"ClosureOfATaskThatThrows",
     [](const service_ptr& service, const action& act) {
         post(service, [end = at_end(act)] { throw std::runtime_error("task failed"); });
     }},
    {"ClosureOfANestedTask",
     [](const service_ptr& service, const action& act) {
         post(service, [service, act] {
             post(service, [end = at_end(act)] {});
             EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
         });
     }},
    {"ClosureOfALastTick",
     [](const service_ptr& service, const action& act) {
         set_interval(
             service, [end = at_end(act)] { return false; }, 1);
     }},
    {"ClosureOfATickThatThrows",
     [](const service_ptr& service, const action& act) {
         set_interval(
             service, [end = at_end(act)]() -> bool { throw std::runtime_error("tick failed"); },
             1);
     }},
    {"ClosureOfAClearedInterval",
     [](const service_ptr& service, const action& act) {
         const auto id = set_interval(
             service, [end = at_end(act)] { return true; }, one_day);
         qz_thread_service_clear_interval(service, id);
     }},
    {"ClosureOfAnIntervalClearedWhileQueued",
     [](const service_ptr& service, const action& act) {
         const busy blocked(service);
         const auto id = set_interval(
             service, [end = at_end(act)] { return true; }, 1);
         std::this_thread::sleep_for(std::chrono::milliseconds(5));
         post(service, [] {});
         qz_thread_service_clear_interval(service, id);
     }},
    {"ClosureOfAnIntervalClearedByItsTick",
     [](const service_ptr& service, const action& act) {
         post(service, [service, act] {
             const auto id = std::make_shared<unsigned long>();
             *id = set_interval(
                 service,
                 [service, id, end = at_end(act)] {
                     qz_thread_service_clear_interval(service, *id);
                     return true;
                 },
                 1);
         });
     }},
    {"ClosureOfATaskDroppedByAStop",
     [](const service_ptr& service, const action& act) {
         const busy blocked(service);
         post(service, [end = at_end(act)] {});
         qz_thread_service_stop(service, nullptr);
     }},
    {"ClosureOfAnIntervalDroppedByAStop",
     [](const service_ptr& service, const action& act) {
         set_interval(
             service, [end = at_end(act)] { return true; }, one_day);
         qz_thread_service_stop(service, nullptr);
     }},
    {"ClosureOfATaskForAStoppedService",
     [](const service_ptr& service, const action& act) {
         stop(service);
         post(service, [end = at_end(act)] {});
     }},
    {"ClosureOfAnIntervalForAStoppedService",
     [](const service_ptr& service, const action& act) {
         stop(service);
         set_interval(
             service, [end = at_end(act)] { return true; }, 1);
     }},
    {"ClosureOfACompletion",
     [](const service_ptr& service, const action& act) {
         qz_thread_service_stop(service, [end = at_end(act)](const service_ptr&) {});
     }},
    {"ClosureOfALateCompletion",
     [](const service_ptr& service, const action& act) {
         stop(service);
         qz_thread_service_stop(service, [end = at_end(act)](const service_ptr&) {});
     }},
    {"ClosureOfASystemTask",
     [](const service_ptr&, const action& act) { post_to_system([end = at_end(act)] {}); }},
    {"DestructorOfAnObjectThatTheRegistryLetsGo",
     [](const service_ptr&, const action& act) {
         _qz_object* const object = new foreign_object(act);
         const boost::weak_ptr<_qz_object> watch = [object] {
             const boost::shared_ptr<_qz_object> handle(object);
             qz_object_ref(handle);
             return boost::weak_ptr<_qz_object>(handle);
         }();
         EXPECT_FALSE(watch.expired());
         qz_object_unref_real(watch.lock());
         EXPECT_TRUE(watch.expired());
     }},
};

class NoLockTest : public ServiceTest, public testing::WithParamInterface<place>
{
};

std::string name_of(const testing::TestParamInfo<place>& tested)
{
    return tested.param.name;
}

} // namespace

TEST_P(NoLockTest, IsHeld)
{
    captured_output output;
    event done;
    GetParam().arrange(service, [this, &done] {
        call_everything(service);
        done.set();
    });
    ASSERT_TRUE(done.wait());
    stop(service);
    run_on_system();
}

INSTANTIATE_TEST_SUITE_P(While, NoLockTest, testing::ValuesIn(places), name_of);
