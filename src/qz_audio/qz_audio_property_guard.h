/// \file
/// \brief Holding an object's property lock for a scope.
#pragma once

#include "qz_audio/qz_audio_insist.h"
#include "system/qz_system.h"

/// Takes `object`'s property lock and releases it at the end of the scope. `file` and `line` are the
/// source position of the guard. Insists where memory is short.
class qz_property_guard
{
public:
    qz_property_guard(_qz_object& object, const char* file, int line) : object_(object)
    {
        insist([&] { object.property_lock(file, line); });
    }
    ~qz_property_guard() { object_.property_unlock(); }
    qz_property_guard(const qz_property_guard&) = delete;
    qz_property_guard& operator=(const qz_property_guard&) = delete;

private:
    _qz_object& object_;
};
