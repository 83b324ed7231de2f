/// \file
/// \brief The handles that a substitute has given out, and whether each is used as it may be.
#pragma once

#include "call_log.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace substitute
{

/// Hands out handles with a `name`, and reports a violation where one is used after its end, ended
/// twice, or used by two threads at once. Addresses are never used again before a reset.
template <typename Handle>
class handle_table
{
public:
    explicit handle_table(std::string prefix) : prefix_(std::move(prefix)) {}

    Handle* make()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        auto made = std::make_unique<Handle>();
        made->name = prefix_ + std::to_string(handles_.size() + 1);
        Handle* const handle = made.get();
        handles_[handle].handle = std::move(made);
        ++alive_;
        return handle;
    }

    void end(Handle* handle)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto held = handles_.find(handle);
        if (held != handles_.end() && held->second.alive) {
            held->second.alive = false;
            --alive_;
        }
    }

    /// How many have been made and not ended.
    std::size_t alive()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return alive_;
    }

    void reset()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        handles_.clear();
        alive_ = 0;
    }

    named name(const Handle* handle)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto held = handles_.find(handle);
        return {held == handles_.end() ? "null" : held->first->name};
    }

    /// Takes the handle for one call of `function`. Returns false for one that may not be used.
    bool take(const Handle* handle, const char* function)
    {
        if (handle == nullptr) {
            return false;
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto held = handles_.find(handle);
        if (held == handles_.end()) {
            report_violation(std::string(function) + ": a handle that was never made");
            return false;
        }
        if (!held->second.alive) {
            report_violation(std::string(function) + ": " + handle->name + " after its end");
            return false;
        }
        if (held->second.busy) {
            report_violation(std::string(function) + ": " + handle->name +
                             " while another call uses it");
            return false;
        }
        held->second.busy = true;
        return true;
    }

    void give_back(const Handle* handle)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto held = handles_.find(handle);
        if (held != handles_.end()) {
            held->second.busy = false;
        }
    }

private:
    struct holding {
        std::unique_ptr<Handle> handle;
        bool alive = true;
        bool busy = false;
    };

    std::mutex mutex_;
    std::string prefix_;
    std::map<const Handle*, holding> handles_;
    std::size_t alive_ = 0;
};

/// A handle for the time of one call; false when it is null or may not be used.
template <typename Handle>
class handle_use
{
public:
    handle_use(handle_table<Handle>& table, Handle* handle, const char* function)
        : table_(table), handle_(table.take(handle, function) ? handle : nullptr)
    {
    }

    ~handle_use()
    {
        if (handle_ != nullptr) {
            table_.give_back(handle_);
        }
    }

    handle_use(const handle_use&) = delete;
    handle_use& operator=(const handle_use&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }
    Handle* operator->() const { return handle_; }

private:
    const inside here_;
    handle_table<Handle>& table_;
    Handle* handle_;
};

} // namespace substitute
