/// \file
/// \brief Ends, with exit status 7, in the way that its argument names, while services, intervals and
/// the system service work.

#include "event.h"
#include "own_exit.h"
#include "system/qz_system.h"

#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using service_ptr = boost::shared_ptr<_qz_thread_service>;

void exec(const service_ptr& service, std::function<void()> task)
{
    qz_thread_service_exec(service, std::move(task), __FILE__, __LINE__);
}

void exec_on_system(std::function<void()> task)
{
    qz_system_service_exec(std::move(task), __FILE__, __LINE__);
}

/// Posts itself for ever, by way of the system service.
void churn(const service_ptr& service)
{
    exec(service, [service] {
        exec_on_system([service] { churn(service); });
        throw std::runtime_error("reported while the process ends");
    });
}

void wait_for(const service_ptr& service)
{
    event ran;
    exec(service, [&ran] { ran.set(); });
    if (!ran.wait()) {
        std::abort();
    }
}

std::vector<service_ptr> start_work()
{
    std::vector<service_ptr> services;
    for (int number = 0; number < 8; ++number) {
        const service_ptr service = qz_thread_service_new("work");
        qz_thread_service_set_interval(
            service, [] { return true; }, 1, __FILE__, __LINE__);
        churn(service);
        wait_for(service);
        services.push_back(service);
    }
    return services;
}

/// Ends last of all, and still uses everything then.
class last_user
{
public:
    last_user() = default;
    ~last_user()
    {
        if (services.empty()) {
            return;
        }
        wait_for(services.front());
        services.push_back(qz_thread_service_new("late"));
        wait_for(services.back());
        event stopped;
        qz_thread_service_stop(services.back(), [&stopped](const service_ptr&) { stopped.set(); });
        event told;
        exec_on_system([&told] { told.set(); });
        if (!stopped.wait() || !told.wait()) {
            std::abort();
        }
    }
    last_user(const last_user&) = delete;
    last_user& operator=(const last_user&) = delete;

    std::vector<service_ptr> services;
};

last_user user;

} // namespace

int main(int, char** arguments)
{
    alarm(static_cast<unsigned>(patience.count()));
    const std::string way = arguments[1];
    const std::vector<service_ptr> services = start_work();
    if (way == "exit") {
        exit_now();
    }
    if (way == "exit_in_task") {
        exec(services.front(), [] { exit_now(); });
        wait_for_exit();
    }
    if (way == "exit_in_system_task") {
        exec_on_system([] { exit_now(); });
        wait_for_exit();
    }
    if (way == "use_in_static_destructor") {
        user.services = services;
    }
    return own_status;
}
