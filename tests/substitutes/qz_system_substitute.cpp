#include "qz_system_substitute.h"

#include "call_log.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace substitute::platform
{

namespace
{

using clock = std::chrono::milliseconds;
using completion = std::function<void()>;

constexpr clock never = clock::max();

struct interval {
    std::function<bool()> tick;
    clock period;
    clock due;
    bool queued = false;
};

/// A task, or the tick of an interval.
struct job {
    std::function<void()> task;
    unsigned long interval_id;
};

/// A logical thread and what waits for it.
struct worker {
    std::string thread;
    std::deque<job> waiting;
    std::map<unsigned long, std::shared_ptr<interval>> intervals;
    std::vector<completion> completions;
    bool busy = false;
    std::size_t nesting = 0;
    bool stopped = false;
    bool ended = false;
};

struct object_facts {
    std::string name;
    bool is_service = false;
    unsigned generation =
        0; ///< Counts the resets, so that what one test leaves is not the next one's.
};

struct platform_state {
    std::shared_ptr<worker> system;
    std::vector<std::shared_ptr<worker>> services;
    std::vector<std::string> thread_stack{"caller"};
    clock now{0};
    unsigned long last_interval_id = 0;
    std::string completion_thread = "system";
    std::map<std::string, boost::any> initial_properties{{"object-destroyed", false}};
    std::map<_qz_object*, object_facts> objects;
    unsigned generation = 0;
    std::map<std::string, unsigned> names;
    std::map<const _qz_object*, boost::shared_ptr<_qz_object>> held;
    std::map<std::string, long> live;
    std::vector<std::string> escaped;
    std::size_t deepest_nesting = 0;
    bool making_service = false;
    bool watches_locks = false;
    bool system_is_eager = false;

    platform_state() : system(std::make_shared<worker>()) { system->thread = "system"; }
};

/// Outlives the process's exit.
platform_state& state()
{
    static auto& platform = *new platform_state;
    return platform;
}

/// Runs code for a logical thread.
class running_on
{
public:
    explicit running_on(const std::string& thread)
    {
        const inside here;
        state().thread_stack.push_back(thread);
    }
    ~running_on() { state().thread_stack.pop_back(); }
    running_on(const running_on&) = delete;
    running_on& operator=(const running_on&) = delete;
};

/// The first of a kind bears its name, later ones a number too.
std::string unique_name(const std::string& kind)
{
    const unsigned number = ++state().names[kind];
    return number == 1 ? kind : kind + " " + std::to_string(number);
}

void guarded(const std::function<void()>& work)
{
    const outside others_code;
    try {
        work();
    } catch (const std::exception& exception) {
        state().escaped.emplace_back(exception.what());
    } catch (...) {
        state().escaped.emplace_back("unknown exception");
    }
}

/// Takes out the oldest job and makes it a function; empty when none waits.
std::function<void()> take_job(worker& from)
{
    if (from.waiting.empty()) {
        return nullptr;
    }
    job taken = std::move(from.waiting.front());
    from.waiting.pop_front();
    if (taken.task) {
        return std::move(taken.task);
    }
    return [&from, id = taken.interval_id, timer = from.intervals[taken.interval_id]] {
        timer->queued = false;
        timer->due = timer->period > never - state().now ? never : state().now + timer->period;
        bool goes_on = false;
        guarded([&] { goes_on = timer->tick(); });
        if (!goes_on) {
            from.intervals.erase(id);
        }
    };
}

bool run_job(worker& on)
{
    auto work = take_job(on);
    if (!work) {
        return false;
    }
    {
        const running_on thread(on.thread);
        state().deepest_nesting = std::max(state().deepest_nesting, ++on.nesting);
        guarded(work);
        work = nullptr;
        --on.nesting;
    }
    if (state().system_is_eager) {
        run_all(state().system->thread);
    }
    return true;
}

/// Destroys all that waits; what is destroyed may call in here.
void drop_work(worker& of)
{
    const running_on thread(of.thread);
    const auto waiting = std::exchange(of.waiting, {});
    const auto intervals = std::exchange(of.intervals, {});
}

/// What a thread does at its end: drops the rest, then calls the completions.
void end(const std::shared_ptr<worker>& ending)
{
    drop_work(*ending);
    ending->ended = true;
    auto& services = state().services;
    services.erase(std::remove(services.begin(), services.end(), ending), services.end());
    for (auto& each : std::exchange(ending->completions, {})) {
        if (state().completion_thread.empty()) {
            const running_on thread(ending->thread);
            guarded(each);
        } else {
            state().system->waiting.push_back({std::move(each), 0});
        }
    }
}

std::shared_ptr<worker> worker_of(const std::string& thread)
{
    if (thread == state().system->thread) {
        return state().system;
    }
    for (const auto& each : state().services) {
        if (each->thread == thread) {
            return each;
        }
    }
    return nullptr;
}

bool any_lock_is_held()
{
    return state().watches_locks &&
           std::any_of(state().objects.begin(), state().objects.end(),
                       [](const auto& object) { return is_locked(*object.first); });
}

/// The log speaks of this platform's threads and locks.
const bool log_is_told = [] {
    set_thread_namer(current_thread);
    set_lock_probe(any_lock_is_held);
    return true;
}();

} // namespace

std::string current_thread()
{
    return state().thread_stack.back();
}

bool run_one(const std::string& thread)
{
    const inside here;
    const auto on = worker_of(thread);
    if (on == nullptr || on->busy) {
        return false;
    }
    if (on->stopped) {
        end(on);
        return true;
    }
    on->busy = true;
    const bool ran = run_job(*on);
    on->busy = false;
    return ran;
}

bool run_all(const std::string& thread)
{
    bool ran = false;
    while (run_one(thread)) {
        ran = true;
    }
    return ran;
}

void run_all()
{
    const inside here;
    bool ran = true;
    while (ran) {
        ran = false;
        const auto services = state().services; // it changes while they run
        for (const auto& each : services) {
            ran = run_all(each->thread) || ran;
        }
        ran = run_all(state().system->thread) || ran;
    }
}

std::size_t waiting(const std::string& thread)
{
    const auto on = worker_of(thread);
    return on == nullptr ? 0 : on->waiting.size();
}

void advance(std::chrono::milliseconds time)
{
    const inside here;
    state().now += time;
    std::vector<std::pair<clock, std::pair<worker*, unsigned long>>> due;
    for (const auto& service : state().services) {
        for (auto& [id, timer] : service->intervals) {
            if (!timer->queued && timer->due <= state().now) {
                timer->queued = true;
                due.push_back({timer->due, {service.get(), id}});
            }
        }
    }
    std::stable_sort(due.begin(), due.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& [time_due, tick] : due) {
        tick.first->waiting.push_back({nullptr, tick.second});
    }
}

void run_system_after_each_task()
{
    state().system_is_eager = true;
}

void as_caller(const std::function<void()>& calls)
{
    const running_on thread("caller");
    calls();
}

void call_completions_on(const std::string& thread)
{
    state().completion_thread = thread;
}

std::map<std::string, boost::any>& initial_properties()
{
    return state().initial_properties;
}

std::size_t objects()
{
    const auto& all = state().objects;
    return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [](const auto& object) {
        return object.second.generation == state().generation;
    }));
}

std::size_t threads()
{
    return state().services.size();
}

std::size_t registry_holds()
{
    return state().held.size();
}

long live_count(const std::string& kind)
{
    return state().live[kind];
}

bool is_locked(_qz_object& object)
{
    // A mutex may only be tried by a thread that does not hold it.
    bool locked = false;
    std::thread([&] {
        locked = !object.property_mutex.try_lock();
        if (!locked) {
            object.property_mutex.unlock();
        }
    }).join();
    return locked;
}

void watch_locks()
{
    state().watches_locks = true;
}

std::size_t deepest_nesting()
{
    return state().deepest_nesting;
}

std::vector<std::string> escaped_exceptions()
{
    return state().escaped;
}

void reset()
{
    for (const auto& each : std::exchange(state().services, {})) {
        each->stopped = true;
        drop_work(*each);
    }
    drop_work(*state().system);
    std::exchange(state().held, {}).clear();
    ++state().generation;
    state().live.clear();
    state().names.clear();
    state().escaped.clear();
    state().deepest_nesting = 0;
    state().now = clock(0);
    state().last_interval_id = 0;
    state().completion_thread = "system";
    state().initial_properties = {{"object-destroyed", false}};
    state().watches_locks = false;
    state().system_is_eager = false;
}

} // namespace substitute::platform

namespace platform = substitute::platform;

using platform::state;
using substitute::entry;
using substitute::inside;
using substitute::named;
using substitute::position;

namespace
{

named name(_qz_object& object)
{
    return {state().objects.at(&object).name};
}

} // namespace

class _qz_thread_service : public _qz_object
{
public:
    explicit _qz_thread_service(std::shared_ptr<platform::worker> thread)
        : worker(std::move(thread))
    {
    }

    /// A service that goes without a stop ends its thread by itself.
    ~_qz_thread_service() override
    {
        const inside here;
        const entry call("~_qz_thread_service", named{worker->thread});
        worker->stopped = true;
    }

    boost::shared_ptr<_qz_object> shared_object() override
    {
        return boost::static_pointer_cast<_qz_object>(shared_from_this());
    }
    std::string type_tag() override { return "[" + worker->thread + "]"; }
    void destroy(std::string, int) override {}

    const std::shared_ptr<platform::worker> worker;
};

_qz_object::_qz_object()
{
    const inside here;
    const bool is_service = state().making_service;
    if (!is_service) {
        const entry call("_qz_object");
    }
    const std::string kind = is_service ? state().services.back()->thread : "player";
    state().objects[this] = {is_service ? kind : platform::unique_name(kind), is_service,
                             state().generation};
    property_list = state().initial_properties;
}

_qz_object::~_qz_object()
{
    const inside here;
    if (!state().objects.at(this).is_service) {
        const entry call("~_qz_object", name(*this));
    }
    state().objects.erase(this);
}

void _qz_object::describe()
{
    const inside here;
    const entry call("describe", name(*this));
}

bool _qz_object::is_reffed()
{
    const inside here;
    const entry call("is_reffed", name(*this));
    return state().held.count(this) != 0;
}

void _qz_object::property_lock(std::string file, int line)
{
    const inside here;
    {
        const entry call(position{file, line}, "property_lock", name(*this));
    }
    property_mutex.lock();
}

void _qz_object::property_unlock()
{
    property_mutex.unlock();
    const inside here;
    const entry call("property_unlock", name(*this));
}

void qz_object_ref(boost::shared_ptr<_qz_object> object)
{
    const inside here;
    const entry call("qz_object_ref", name(*object));
    state().held[object.get()] = object;
}

void qz_object_unref_real(boost::shared_ptr<_qz_object> object)
{
    const inside here;
    const entry call("qz_object_unref_real", name(*object));
    const auto held = state().held.find(object.get());
    if (held != state().held.end()) {
        const auto released = std::exchange(held->second, nullptr);
        state().held.erase(held);
    }
}

void qz_object_ref_increment(std::string name)
{
    const inside here;
    const entry call("qz_object_ref_increment", name);
    ++state().live[name];
}

void qz_object_ref_decrement(std::string name)
{
    const inside here;
    const entry call("qz_object_ref_decrement", name);
    --state().live[name];
}

bool qz_property_get(std::map<std::string, boost::any>& list, std::string key, boost::any& value)
{
    {
        const inside here;
        const entry call("qz_property_get", key);
    }
    const auto property = list.find(key);
    if (property == list.end()) {
        return false;
    }
    value = property->second;
    return true;
}

boost::shared_ptr<_qz_thread_service> qz_thread_service_new(std::string name)
{
    const inside here;
    const entry call("qz_thread_service_new", name);
    const auto thread = std::make_shared<platform::worker>();
    thread->thread = platform::unique_name(name);
    state().services.push_back(thread);
    state().making_service = true;
    boost::shared_ptr<_qz_thread_service> service(new _qz_thread_service(thread));
    state().making_service = false;
    state().held[service.get()] = service;
    return service;
}

boost::shared_ptr<_qz_object>
qz_thread_service_to_object(boost::shared_ptr<_qz_thread_service> service)
{
    const inside here;
    const entry call("qz_thread_service_to_object", name(*service));
    return service;
}

void qz_thread_service_exec(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void()> task, std::string file, int line)
{
    const inside here;
    const entry call(position{file, line}, "qz_thread_service_exec", name(*service));
    if (!service->worker->stopped) {
        service->worker->waiting.push_back({std::move(task), 0});
    }
}

unsigned long qz_thread_service_set_interval(boost::shared_ptr<_qz_thread_service> service,
                                             std::function<bool()> tick, unsigned long period,
                                             std::string file, int line)
{
    const inside here;
    const entry call(position{file, line}, "qz_thread_service_set_interval", name(*service),
                     period);
    const auto longest = static_cast<unsigned long>(platform::never.count());
    const platform::clock time(std::clamp(period, 1UL, longest));
    const auto due = time > platform::never - state().now ? platform::never : state().now + time;
    const unsigned long id = ++state().last_interval_id;
    if (!service->worker->stopped) {
        service->worker->intervals[id] =
            std::make_shared<platform::interval>(platform::interval{std::move(tick), time, due});
    }
    return id;
}

void qz_thread_service_clear_interval(boost::shared_ptr<_qz_thread_service> service,
                                      unsigned long id)
{
    const inside here;
    const entry call("qz_thread_service_clear_interval", name(*service), id);
    auto& waiting = service->worker->waiting;
    waiting.erase(
        std::remove_if(waiting.begin(), waiting.end(),
                       [&](const auto& job) { return !job.task && job.interval_id == id; }),
        waiting.end());
    const auto ended = service->worker->intervals.extract(id);
}

int qz_thread_service_run_one_only(boost::shared_ptr<_qz_thread_service> service)
{
    const inside here;
    const entry call("qz_thread_service_run_one_only", name(*service));
    if (platform::current_thread() != service->worker->thread) {
        substitute::report_violation("qz_thread_service_run_one_only: on another thread");
    }
    return !service->worker->stopped && platform::run_job(*service->worker) ? 1 : 0;
}

void qz_thread_service_stop(boost::shared_ptr<_qz_thread_service> service,
                            std::function<void(boost::shared_ptr<_qz_thread_service>)> completion)
{
    const inside here;
    const entry call("qz_thread_service_stop", name(*service));
    auto& worker = *service->worker;
    worker.stopped = true;
    std::function<void()> done = [service, completion] { completion(service); };
    if (worker.ended) {
        state().system->waiting.push_back({std::move(done), 0});
    } else {
        worker.completions.push_back(std::move(done));
    }
}

void qz_system_service_exec(std::function<void()> task, std::string file, int line)
{
    const inside here;
    const entry call(position{file, line}, "qz_system_service_exec");
    state().system->waiting.push_back({std::move(task), 0});
}

void qz_assertion_faild(bool condition, std::string expression, std::string message,
                        std::string file, int line)
{
    const inside here;
    const entry call(position{file, line}, "qz_assertion_faild", condition, expression, message);
}
