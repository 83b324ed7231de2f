/// \file
/// \brief One log of every call that the library under test makes to its neighbours, whichever library
/// they stand in, and what the test wants to happen at such a call.
///
/// May be used from any thread.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace substitute
{

/// One call, as it was made.
struct call {
    std::string function;
    /// The arguments as text: handles by name ("mh1"), texts in quotes, a null pointer as `null`.
    std::string arguments;
    /// The thread that made it: its name, or on the substitute platform the thread it stands for.
    std::string thread;
    /// The source position that was handed over; empty and 0 where the function takes none.
    std::string file;
    int line = 0;
    /// Whether a property mutex was held; told by the substitute platform while it watches locks.
    bool locked = false;

    /// `function(arguments)`.
    [[nodiscard]] std::string text() const;
};

/// The calls so far, oldest first.
std::vector<call> calls();

/// Empties the log; planned actions and answers stay.
void forget_calls();

/// Forgets planned actions and answers.
void forget_plans();

/// Empties the log and forgets planned actions, answers and violations.
void reset_calls();

/// Adds an entry of the test's own, such as "callback", to the log.
void mark(const std::string& what);

/// Runs `action` inside the `occurrence`-th call of `function` from now on, before the function does
/// its work. The action may call the library under test, block, or throw: what it throws leaves the
/// function in its place.
void at_call(const std::string& function, std::function<void()> action, unsigned occurrence = 1);

/// The same at every call from now on.
void at_every_call(const std::string& function, std::function<void()> action);

/// Lets the `occurrence`-th call of `function` from now on give `result`; what this means stands at
/// each substitute.
void answer(const std::string& function, long result, unsigned occurrence = 1);

/// The same for every call from now on.
void answer_always(const std::string& function, long result);

/// What a neighbour may never see, such as the use of a deleted handle.
std::vector<std::string> violations();

// What follows is for the substitutes themselves.

void report_violation(const std::string& what);

/// Tells the log the thread that runs now, and whether a property mutex is held.
void set_thread_namer(std::function<std::string()> namer);
void set_lock_probe(std::function<bool()> probe);

/// Whether this thread runs code of a substitute, so that a test of failing allocations can spare it.
bool inside_substitute();

/// Marks a stretch of a substitute's own code.
class inside
{
public:
    inside();
    ~inside();
    inside(const inside&) = delete;
    inside& operator=(const inside&) = delete;
};

/// Marks a stretch of others' code within it: a planned action, a task.
class outside
{
public:
    outside();
    ~outside();
    outside(const outside&) = delete;
    outside& operator=(const outside&) = delete;

private:
    unsigned depth_;
};

std::string describe(bool value);
std::string describe(int value);
std::string describe(long value);
std::string describe(unsigned long value);
std::string describe(double value);
std::string describe(const char* text);
std::string describe(const std::string& text);

/// Something that has a name of its own.
struct named {
    std::string name;
};
std::string describe(const named& thing);

struct position {
    std::string file;
    int line;
};

/// A call in progress: logs it, then runs the actions planned for it.
class entry
{
public:
    template <typename... Arguments>
    explicit entry(const std::string& function, const Arguments&... arguments)
        : entry(position{"", 0}, function, arguments...)
    {
    }

    template <typename... Arguments>
    entry(const position& where, const std::string& function, const Arguments&... arguments)
    {
        enter(where, function, {describe(arguments)...});
    }

    /// The planned answer, or `normal` when there is none.
    [[nodiscard]] long answer_or(long normal) const { return answer_.value_or(normal); }
    [[nodiscard]] std::optional<long> planned_answer() const { return answer_; }

private:
    void enter(const position& where, const std::string& function,
               const std::vector<std::string>& arguments);

    std::optional<long> answer_;
};

} // namespace substitute
