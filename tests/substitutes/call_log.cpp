#include "call_log.h"

#include <pthread.h>

#include <array>
#include <charconv>
#include <list>
#include <mutex>
#include <utility>

namespace substitute
{

namespace
{

struct plan {
    std::string function;
    unsigned occurrence; ///< Counts down; 0 means every call.
    std::function<void()> action;
    long answer;
};

struct log_state {
    std::mutex mutex;
    std::vector<call> calls;
    std::list<plan> plans;
    std::vector<std::string> violations;
    std::function<std::string()> thread_name;
    std::function<bool()> lock_is_held;
};

/// Outlives the process's exit, at which libraries are still unloaded.
log_state& state()
{
    static auto& log = *new log_state;
    return log;
}

thread_local unsigned depth = 0;

std::string name_of_this_thread()
{
    if (state().thread_name) {
        return state().thread_name();
    }
    std::array<char, 16> name{};
    pthread_getname_np(pthread_self(), name.data(), name.size());
    return name.data();
}

std::string joined(const std::vector<std::string>& parts)
{
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

void add_plan(plan added)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().plans.push_back(std::move(added));
}

/// Takes out what is planned for this call of `function`.
std::list<plan> due_plans(const std::string& function)
{
    std::list<plan> due;
    auto& plans = state().plans;
    for (auto each = plans.begin(); each != plans.end();) {
        const auto current = each++;
        if (current->function != function) {
            continue;
        }
        if (current->occurrence == 0) {
            due.push_back(*current);
        } else if (--current->occurrence == 0) {
            due.splice(due.end(), plans, current);
        }
    }
    return due;
}

template <typename Number>
std::string as_text(Number value)
{
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return {digits.data(), end};
}

} // namespace

std::string call::text() const
{
    return function + "(" + arguments + ")";
}

std::vector<call> calls()
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().calls;
}

void forget_calls()
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.clear();
}

void forget_plans()
{
    std::list<plan> dropped;
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().plans.swap(dropped);
}

void reset_calls()
{
    forget_plans();
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.clear();
    state().violations.clear();
}

void mark(const std::string& what)
{
    entry{what};
}

void at_call(const std::string& function, std::function<void()> action, unsigned occurrence)
{
    add_plan({function, occurrence, std::move(action), 0});
}

void at_every_call(const std::string& function, std::function<void()> action)
{
    add_plan({function, 0, std::move(action), 0});
}

void answer(const std::string& function, long result, unsigned occurrence)
{
    add_plan({function, occurrence, nullptr, result});
}

void answer_always(const std::string& function, long result)
{
    add_plan({function, 0, nullptr, result});
}

std::vector<std::string> violations()
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().violations;
}

void report_violation(const std::string& what)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().violations.push_back(what);
}

void set_thread_namer(std::function<std::string()> namer)
{
    state().thread_name = std::move(namer);
}

void set_lock_probe(std::function<bool()> probe)
{
    state().lock_is_held = std::move(probe);
}

bool inside_substitute()
{
    return depth > 0;
}

inside::inside()
{
    ++depth;
}

inside::~inside()
{
    --depth;
}

outside::outside() : depth_(std::exchange(depth, 0)) {}

outside::~outside()
{
    depth = depth_;
}

std::string describe(bool value)
{
    return value ? "true" : "false";
}

std::string describe(int value)
{
    return as_text(value);
}

std::string describe(long value)
{
    return as_text(value);
}

std::string describe(unsigned long value)
{
    return as_text(value);
}

std::string describe(double value)
{
    return as_text(value);
}

std::string describe(const char* text)
{
    return text == nullptr ? "null" : describe(std::string(text));
}

std::string describe(const std::string& text)
{
    return '"' + text + '"';
}

std::string describe(const named& thing)
{
    return thing.name;
}

void entry::enter(const position& where, const std::string& function,
                  const std::vector<std::string>& arguments)
{
    const inside here;
    std::list<plan> due;
    {
        const bool locked = state().lock_is_held && state().lock_is_held();
        const std::lock_guard<std::mutex> lock(state().mutex);
        state().calls.push_back(
            {function, joined(arguments), name_of_this_thread(), where.file, where.line, locked});
        due = due_plans(function);
    }
    for (const auto& each : due) {
        if (each.action) {
            const outside test_code;
            each.action();
        } else {
            answer_ = each.answer;
        }
    }
}

} // namespace substitute
