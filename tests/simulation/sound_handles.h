/// \file
/// \brief The handles that a simulated sound library has given out, and whether each is used as it may
/// be.
#pragma once

#include "failure.h"
#include "foreign_code.h"
#include "moods.h"
#include "players.h"
#include "scheduler.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace simulation
{

/// What each handle has.
struct sound_handle {
    std::string name;
    int player = 0; ///< That has made it.
    int error = 0;  ///< Its last.
    bool alive = true;
    bool replaced = false; ///< By a second open: nobody will ever close it.
    const thread* user = nullptr;
};

/// A call of `function` on a handle's library: the place where the caller may be held up. To be asked
/// before anything of the call is done.
inline thread& enter_library(const char* function)
{
    scheduler& schedule = *scheduler::running();
    thread& self = *schedule.current();
    check_no_lock_beyond_list(self, function);
    schedule.point(function);
    return self;
}

/// The player's own thread uses its handles until the player is closed; then the steps of destruction
/// do, and at last the destructor.
inline void check_user(const thread& self, const sound_handle& handle, const char* function)
{
    for (const player& each : observed().players) {
        if (each.number == handle.player && !each.ends() &&
            (each.own_thread == &self) == each.object->closed) {
            fail("handles are used by the player's thread, and after its end by destruction",
                 std::string(function) + " of " + handle.name + " on " + self.name);
        }
    }
}

template <typename Handle>
class handle_table
{
public:
    explicit handle_table(std::string prefix) : prefix_(std::move(prefix)) {}

    /// A new one for the player `owner`; `former` is the one that it takes the place of, or null.
    Handle* make(int owner, Handle* former)
    {
        if (former != nullptr) {
            former->replaced = true;
        }
        handles_.push_back(std::make_unique<Handle>());
        handles_.back()->name = prefix_ + std::to_string(handles_.size());
        handles_.back()->player = owner;
        return handles_.back().get();
    }

    /// Fails unless `self` may use the handle.
    void check_use(const thread& self, const Handle& handle, const char* function) const
    {
        const std::string what = std::string(function) + " of ";
        if (std::none_of(handles_.begin(), handles_.end(),
                         [&](const auto& each) { return each.get() == &handle; })) {
            fail("only handles that exist are used", what + "an unknown one");
        }
        if (!handle.alive) {
            fail("no handle is used after it was closed", what + handle.name);
        }
        if (handle.replaced) {
            fail("no handle is used after a second open has replaced it", what + handle.name);
        }
        if (handle.user != nullptr) {
            fail("one thread at a time uses a handle", what + handle.name + " on " + self.name);
        }
        check_user(self, handle, function);
    }

    /// Fails where a handle is left that was opened and not closed, but for the replaced ones.
    void check_all_closed() const
    {
        for (const auto& each : handles_) {
            if (each->alive != each->replaced) {
                fail("every handle that was opened is closed once, but for the replaced ones",
                     each->name);
            }
        }
    }

    void clear() { handles_ = decltype(handles_)(); }

private:
    const std::string prefix_;
    std::vector<std::unique_ptr<Handle>> handles_;
};

/// One call of a function of a sound library.
template <typename Handle>
class library_call
{
public:
    /// With the handle that the caller has given; null is survived.
    library_call(const handle_table<Handle>& table, Handle* handle, const char* function)
        : function_(function), handle_(handle)
    {
        thread& self = enter_library(function);
        if (handle_ != nullptr) {
            table.check_use(self, *handle_, function);
            handle_->user = &self;
        }
    }
    ~library_call()
    {
        if (handle_ != nullptr) {
            handle_->user = nullptr;
        }
    }
    library_call(const library_call&) = delete;
    library_call& operator=(const library_call&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }
    Handle* operator->() const { return handle_; }

    /// Holds the caller up, if the seed says so.
    void block() const { wait(neighbours().blocks(function_, handle_->player)); }
    static void wait(milliseconds duration)
    {
        if (duration != 0) {
            scheduler::running()->sleep(duration);
        }
    }

    /// Whether the seed says so: then `code` is the handle's last error.
    [[nodiscard]] bool fails(int code) const
    {
        if (!neighbours().fails(function_, handle_->player)) {
            return false;
        }
        handle_->error = code;
        return true;
    }

private:
    const char* const function_;
    Handle* const handle_;
};

/// The player that the running thread belongs to, or null.
inline player* calling_player()
{
    return observed().find(*scheduler::running()->current());
}

/// The caller has got `code` from a failed call of `function`, which must be reported unless the player
/// does without: then `function` is null.
inline void note_failure(const char* function, int code)
{
    if (player* const caller = calling_player()) {
        caller->codes.push_back(code);
        caller->owes_error = function != nullptr ? function : caller->owes_error;
    }
}

} // namespace simulation
