/// \file
/// \brief The handles that a simulated sound library has given out, and whether each is used as it may
/// be.
#pragma once

#include "foreign_code.h"
#include "invariants.h"
#include "moods.h"
#include "players.h"
#include "scheduler.h"
#include "sound_handle.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace simulation
{

/// A call of `function` on a handle's library: the place where the caller may be held up. To be asked
/// before anything of the call is done.
inline thread& enter_library(const char* function)
{
    scheduler& schedule = *scheduler::running();
    thread& self = *schedule.current();
    check_no_lock_beyond_list(self, function);
    check_library_call(self);
    schedule.point(function);
    return self;
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

    /// Fails where one is left open.
    void check_all_closed() const
    {
        for (const auto& each : handles_) {
            check_handle_closed(*each);
        }
    }

    [[nodiscard]] bool has_made(const Handle& handle) const
    {
        return std::any_of(handles_.begin(), handles_.end(),
                           [&](const auto& each) { return each.get() == &handle; });
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
            check_handle_exists(table.has_made(*handle_), function);
            check_handle_use(self, *handle_, function);
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
