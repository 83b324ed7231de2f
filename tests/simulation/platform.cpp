#include "platform.h"

#include "foreign_code.h"
#include "invariants.h"
#include "moods.h"
#include "platform_queue.h"
#include "players.h"

#include <dlfcn.h>

#include <algorithm>
#include <system_error>
#include <utility>
#include <vector>

namespace simulation
{

struct platform_state {
    platform_queue system{"system", [] {}};
    std::vector<std::unique_ptr<platform_queue>> services;
    std::map<const _qz_object*, boost::shared_ptr<_qz_object>> held;
    std::map<std::string, long> live;
};

namespace
{

platform_state* state = nullptr;

/// The place where a function of the platform begins.
void enter(const char* function)
{
    check_no_lock_beyond_list(*scheduler::running()->current(), function);
    scheduler::running()->point(function);
}

bool all_services_have_ended()
{
    return std::all_of(state->services.begin(), state->services.end(),
                       [](const auto& each) { return each->has_ended(); });
}

} // namespace

platform::platform() : state_(std::make_unique<platform_state>())
{
    state = state_.get();
}

platform::~platform()
{
    state = nullptr;
}

void platform::end_when_idle()
{
    state_->system.end_when(all_services_have_ended);
}

boost::shared_ptr<_qz_object> platform::held_player(int number)
{
    for (const player& each : observed().players) {
        const auto held = state->held.find(each.object);
        if (each.number == number && held != state->held.end()) {
            return held->second;
        }
    }
    return nullptr;
}

long live_count(const std::string& kind)
{
    return state->live[kind];
}

std::string object_name(_qz_object& object)
{
    const player* const of = observed().find(object);
    return of == nullptr ? "a thread service" : "player " + std::to_string(of->number);
}

} // namespace simulation

using namespace simulation;

class _qz_thread_service : public _qz_object
{
public:
    explicit _qz_thread_service(platform_queue& worked_off) : queue(worked_off) {}
    ~_qz_thread_service() override { queue.stop(); }

    boost::shared_ptr<_qz_object> shared_object() override
    {
        return boost::static_pointer_cast<_qz_object>(shared_from_this());
    }
    std::string type_tag() override { return "[thread service]"; }
    void destroy(std::string, int) override {}

    platform_queue& queue;
};

_qz_object::_qz_object()
{
    ++observed().objects;
    property_list = {{"object-destroyed", false}};
}

_qz_object::~_qz_object()
{
    check_object_ends(*this);
    forget_player(*this);
    --observed().objects;
}

void _qz_object::describe()
{
    enter("describe");
    ++observed().find(*this)->descriptions;
}

bool _qz_object::is_reffed()
{
    enter("is_reffed");
    return state->held.count(this) != 0;
}

void _qz_object::property_lock(std::string, int)
{
    property_mutex.lock();
}

void _qz_object::property_unlock()
{
    property_mutex.unlock();
}

void qz_object_ref(boost::shared_ptr<_qz_object> object)
{
    enter("qz_object_ref");
    auto& made = static_cast<_qz_audio&>(*object);
    observe_player(scheduler::running()->current()->creates, made,
                   made.thread_service->queue.own_thread());
    state->held[object.get()] = object;
}

void qz_object_unref_real(boost::shared_ptr<_qz_object> object)
{
    enter("qz_object_unref_real");
    const auto released = state->held.extract(object.get());
}

void qz_object_ref_increment(std::string name)
{
    enter("qz_object_ref_increment");
    ++state->live[name];
}

void qz_object_ref_decrement(std::string name)
{
    enter("qz_object_ref_decrement");
    --state->live[name];
}

bool qz_property_get(std::map<std::string, boost::any>& list, std::string key, boost::any& value)
{
    const thread& self = *scheduler::running()->current();
    check_no_lock_beyond_list(self, "qz_property_get");
    check_property_read(self, list);
    const auto property = list.find(key);
    if (property == list.end()) {
        return false;
    }
    value = property->second;
    return true;
}

boost::shared_ptr<_qz_thread_service> qz_thread_service_new(std::string name)
{
    enter("qz_thread_service_new");
    const int number = scheduler::running()->current()->creates;
    if (neighbours().fails("qz_thread_service_new", number)) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    auto& services = state->services;
    services.push_back(std::make_unique<platform_queue>(name + " " + std::to_string(number),
                                                        [] { state->system.reconsider(); }));
    boost::shared_ptr<_qz_thread_service> service(new _qz_thread_service(*services.back()));
    state->held[service.get()] = service;
    return service;
}

boost::shared_ptr<_qz_object>
qz_thread_service_to_object(boost::shared_ptr<_qz_thread_service> service)
{
    enter("qz_thread_service_to_object");
    return service;
}

void qz_thread_service_exec(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void()> task, std::string, int)
{
    enter("qz_thread_service_exec");
    service->queue.post(std::move(task));
}

unsigned long qz_thread_service_set_interval(boost::shared_ptr<_qz_thread_service> service,
                                             std::function<bool()> tick, unsigned long period,
                                             std::string, int)
{
    enter("qz_thread_service_set_interval");
    return service->queue.start_interval(std::move(tick), period);
}

void qz_thread_service_clear_interval(boost::shared_ptr<_qz_thread_service> service,
                                      unsigned long id)
{
    enter("qz_thread_service_clear_interval");
    service->queue.end_interval(id);
}

int qz_thread_service_run_one_only(boost::shared_ptr<_qz_thread_service> service)
{
    enter("qz_thread_service_run_one_only");
    platform_queue& queue = service->queue;
    const bool ran = queue.run_one();
    check_service(*observed().find(queue.own_thread()), ran);
    return ran ? 1 : 0;
}

void qz_thread_service_stop(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void(boost::shared_ptr<_qz_thread_service>)> completion)
{
    enter("qz_thread_service_stop");
    if (player* const of = observed().find(service->queue.own_thread())) {
        check_service_stop(*of);
    }
    service->queue.stop([service, completion = std::move(completion)] { completion(service); },
                        state->system);
}

void qz_system_service_exec(std::function<void()> task, std::string, int)
{
    enter("qz_system_service_exec");
    check_post(*scheduler::running()->current());
    state->system.post(std::move(task));
}

void qz_assertion_faild(bool condition, std::string expression, std::string message, std::string,
                        int)
{
    thread& self = *scheduler::running()->current();
    check_no_lock_beyond_list(self, "qz_assertion_faild");
    check_report(self, condition, expression, message);
}

/// The library pins itself in memory with the first player. Here it is part of the program.
extern "C" int __wrap_dladdr(const void*, Dl_info*);
int __wrap_dladdr(const void*, Dl_info*)
{
    return 0;
}
