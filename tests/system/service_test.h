/// \file
/// \brief What the tests of thread services share: a service, and the check that no thread is left.
#pragma once

#include "event.h"
#include "journal.h"
#include "process.h"
#include "system/qz_system.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>

using service_ptr = boost::shared_ptr<_qz_thread_service>;
using service_weak = boost::weak_ptr<_qz_thread_service>;
using testing::ElementsAre;

/// A period that never comes while a test runs.
constexpr unsigned long one_day = 24UL * 60 * 60 * 1000;

/// A new service that lives only as long as its handles: the registry lets it go.
service_ptr make_service(const std::string& name = "test");

void post(const service_ptr& service, std::function<void()> task);
unsigned long set_interval(const service_ptr& service, std::function<bool()> tick,
                           unsigned long period);
void post_to_system(std::function<void()> task);

/// Posts `task` and waits until it has run and its closure is gone.
void run(
    const service_ptr& service, std::function<void()> task = [] {});
void run_on_system(std::function<void()> task = [] {});

/// Stops the service and waits for the completion.
void stop(const service_ptr& service);

/// A service's thread kept busy with one task until the end of this. The task calls `last` before it ends.
class busy
{
public:
    explicit busy(
        const service_ptr& service, std::function<void()> last = [] {});
    ~busy() { end(); }
    busy(const busy&) = delete;
    busy& operator=(const busy&) = delete;

    void end() { release_->set(); }

private:
    std::shared_ptr<event> release_ = std::make_shared<event>();
};

/// Tests with one service. At the end, when the service has been let go, all threads but the test's
/// and the system service's must have ended.
class ServiceTest : public testing::Test
{
protected:
    ServiceTest();
    void TearDown() override;

    /// Posts a task that notes "task runs" if it does, and "task gone" with the end of its closure.
    void post_noting(const service_ptr& to);

    /// The same for an interval, which goes on: "tick" for each, and "interval gone".
    unsigned long set_noting_interval(const service_ptr& of, unsigned long period);

    journal log;
    service_ptr service;
};
