/// \file
/// \brief Holding an object's property lock for a scope.
#pragma once

#include "system/qz_system.h"

#include <string>
#include <utility>

/// Takes `object`'s property lock and releases it at the end of the scope. `file` and `line` are the
/// source position of the guard.
class qz_property_guard
{
public:
    qz_property_guard(_qz_object& object, std::string file, int line) : object_(object)
    {
        object_.property_lock(std::move(file), line);
    }
    ~qz_property_guard() { object_.property_unlock(); }
    qz_property_guard(const qz_property_guard&) = delete;
    qz_property_guard& operator=(const qz_property_guard&) = delete;

private:
    _qz_object& object_;
};
