#include "service_test.h"

#include <utility>

service_ptr make_service(const std::string& name)
{
    service_ptr service = qz_thread_service_new(name);
    qz_object_unref_real(qz_thread_service_to_object(service));
    return service;
}

void post(const service_ptr& service, std::function<void()> task)
{
    qz_thread_service_exec(service, std::move(task), __FILE__, __LINE__);
}

unsigned long set_interval(const service_ptr& service, std::function<bool()> tick,
                           unsigned long period)
{
    return qz_thread_service_set_interval(service, std::move(tick), period, __FILE__, __LINE__);
}

void post_to_system(std::function<void()> task)
{
    qz_system_service_exec(std::move(task), __FILE__, __LINE__);
}

namespace
{

using poster = std::function<void(std::function<void()>)>;

void run_by(const poster& post_task, std::function<void()> task)
{
    const auto gone = std::make_shared<event>();
    post_task([task = std::move(task), end = at_end([gone] { gone->set(); })] { task(); });
    ASSERT_TRUE(gone->wait());
}

/// How many threads there are while no service is.
std::size_t threads_at_rest()
{
    static const std::size_t count = [] {
        run_on_system();
        return thread_count();
    }();
    return count;
}

} // namespace

void run(const service_ptr& service, std::function<void()> task)
{
    run_by([&service](std::function<void()> work) { post(service, std::move(work)); },
           std::move(task));
}

void run_on_system(std::function<void()> task)
{
    run_by(post_to_system, std::move(task));
}

void stop(const service_ptr& service)
{
    const auto stopped = std::make_shared<event>();
    qz_thread_service_stop(service, [stopped](const service_ptr&) { stopped->set(); });
    ASSERT_TRUE(stopped->wait());
}

busy::busy(const service_ptr& service, std::function<void()> last)
{
    const auto entered = std::make_shared<event>();
    post(service, [entered, release = release_, last = std::move(last)] {
        entered->set();
        EXPECT_TRUE(release->wait());
        last();
    });
    EXPECT_TRUE(entered->wait());
}

ServiceTest::ServiceTest()
{
    threads_at_rest();
    service = make_service();
}

void ServiceTest::TearDown()
{
    if (service) {
        stop(service);
    }
    service.reset();
    EXPECT_TRUE(wait_until([] { return thread_count() == threads_at_rest(); }))
        << "a thread is left";
}

void ServiceTest::post_noting(const service_ptr& to)
{
    post(to, [this, end = at_end([this] { log.note("task gone"); })] { log.note("task runs"); });
}

unsigned long ServiceTest::set_noting_interval(const service_ptr& of, unsigned long period)
{
    return set_interval(
        of,
        [this, end = at_end([this] { log.note("interval gone"); })] {
            log.note("tick");
            return true;
        },
        period);
}
