// A platform library of other make: all that qz_system.h declares, in the plainest way.
#include "loop.h"

#include <system/qz_system.h>

#include <boost/smart_ptr/make_shared.hpp>

#include <csignal>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <utility>

namespace
{

/// Which objects are held, and how many of each kind are alive.
struct object_registry {
    std::mutex mutex;
    std::map<const _qz_object*, boost::shared_ptr<_qz_object>> held;
    std::map<std::string, long> alive;
};

// Neither is ever destroyed: threads may still work while the process ends.
object_registry& registry()
{
    static auto& only = *new object_registry;
    return only;
}

std::shared_ptr<loop> start_loop(const std::string& name)
{
    auto work = std::make_shared<loop>();
    std::thread([work, name] {
        pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
        work->work();
    }).detach();
    return work;
}

loop& system_loop()
{
    static auto& only = *new std::shared_ptr<loop>([] {
        std::cout << "other platform: at work" << std::endl;
        return start_loop("system");
    }());
    return *only;
}

void block_broken_pipe_signal()
{
    sigset_t broken_pipe{};
    sigemptyset(&broken_pipe);
    sigaddset(&broken_pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken_pipe, nullptr);
}

} // namespace

_qz_object::_qz_object() : property_list{{"object-destroyed", false}} {}

_qz_object::~_qz_object() = default;

void _qz_object::describe()
{
    std::cout << type_tag() << " at " << this << std::endl;
}

bool _qz_object::is_reffed()
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    return registry().held.count(this) != 0;
}

void _qz_object::property_lock(std::string, int)
{
    property_mutex.lock();
}

void _qz_object::property_unlock()
{
    property_mutex.unlock();
}

class _qz_thread_service : public _qz_object
{
public:
    explicit _qz_thread_service(const std::string& name) : work(start_loop(name))
    {
        work->post(block_broken_pipe_signal);
    }
    ~_qz_thread_service() override { work->stop(); }

    boost::shared_ptr<_qz_object> shared_object() override
    {
        return boost::static_pointer_cast<_qz_object>(shared_from_this());
    }
    std::string type_tag() override { return "[qz_thread_service]"; }
    void destroy(std::string, int) override
    {
        work->stop();
        qz_object_unref_real(shared_object());
    }

    const std::shared_ptr<loop> work;
};

void qz_object_ref(boost::shared_ptr<_qz_object> object)
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    registry().held.emplace(object.get(), object);
}

void qz_object_unref_real(boost::shared_ptr<_qz_object> object)
{
    // The caller's handle is not the last that goes while the lock is held.
    const std::lock_guard<std::mutex> lock(registry().mutex);
    registry().held.erase(object.get());
}

void qz_object_ref_increment(std::string name)
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    ++registry().alive[name];
}

void qz_object_ref_decrement(std::string name)
{
    const std::lock_guard<std::mutex> lock(registry().mutex);
    --registry().alive[name];
}

bool qz_property_get(std::map<std::string, boost::any>& list, std::string key, boost::any& value)
{
    const auto found = list.find(key);
    if (found == list.end()) {
        return false;
    }
    value = found->second;
    return true;
}

boost::shared_ptr<_qz_thread_service> qz_thread_service_new(std::string name)
{
    system_loop();
    const auto service = boost::make_shared<_qz_thread_service>(name);
    qz_object_ref(service);
    return service;
}

boost::shared_ptr<_qz_object>
qz_thread_service_to_object(boost::shared_ptr<_qz_thread_service> service)
{
    return service;
}

void qz_thread_service_exec(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void()> task, std::string, int)
{
    service->work->post(std::move(task));
}

unsigned long qz_thread_service_set_interval(boost::shared_ptr<_qz_thread_service> service,
                                             std::function<bool()> tick, unsigned long period,
                                             std::string, int)
{
    return service->work->start_interval(std::move(tick), period);
}

void qz_thread_service_clear_interval(boost::shared_ptr<_qz_thread_service> service,
                                      unsigned long id)
{
    service->work->end_interval(id);
}

int qz_thread_service_run_one_only(boost::shared_ptr<_qz_thread_service> service)
{
    return service->work->run_one() ? 1 : 0;
}

void qz_thread_service_stop(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void(boost::shared_ptr<_qz_thread_service>)> completion)
{
    if (!completion) {
        service->work->stop();
        return;
    }
    const loop::task report = [service, completion] { completion(service); };
    if (!service->work->stop(report)) {
        system_loop().post(report);
    }
}

void qz_system_service_exec(std::function<void()> task, std::string, int)
{
    system_loop().post(std::move(task));
}

void qz_assertion_faild(bool condition, std::string expression, std::string message,
                        std::string file, int line)
{
    if (!condition) {
        std::cout << "other platform: " << expression << " - " << message << " (" << file << ':'
                  << line << ')' << std::endl;
    }
}
