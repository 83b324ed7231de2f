/// \file
/// \brief Typed access to an object's properties.
///
/// A property keeps the type with which it was created. None of these takes a lock: the caller holds the
/// object's `property_mutex` or its property lock, unless nobody else can see the object. Each may
/// throw `std::bad_alloc`, and has changed nothing then.
#pragma once

#include "system/qz_system.h"

#include <boost/any.hpp>

#include <string>
#include <utility>

/// Creates the property `key` with `value` and returns true; returns false, and changes nothing, when
/// there is one of that name, whatever its type.
template <typename T>
bool qz_property_init(property_list& list, std::string key, T value)
{
    if (list.find(key) != list.end()) {
        return false;
    }
    list.emplace(std::move(key), boost::any(std::move(value)));
    return true;
}

/// Exchanges the value of the property `key` and `value`; returns false, and changes nothing, when there
/// is no property of that name and type. Where copies and destructors are user code, `value` is created
/// before the caller takes the lock, and destroyed after its release.
inline bool qz_property_exchange(property_list& list, const std::string& key, boost::any& value)
{
    const auto property = list.find(key);
    if (property == list.end() || property->second.type() != value.type()) {
        return false;
    }
    property->second.swap(value);
    return true;
}

/// Replaces the value of the property `key` and returns true; returns false, and changes nothing, when
/// there is no property of that name and type. Never creates one.
template <typename T>
bool qz_property_set(property_list& list, std::string key, T value)
{
    boost::any wrapped(std::move(value));
    return qz_property_exchange(list, key, wrapped);
}

/// Copies the value of the property `key` into `*out` and returns true; returns false, and leaves
/// `*out` as it was, when there is no property of that name and type.
template <typename T>
bool qz_property_get_extract(property_list& list, std::string key, T* out)
{
    boost::any value;
    if (!qz_property_get(list, std::move(key), value)) {
        return false;
    }
    try {
        *out = boost::any_cast<T&&>(std::move(value));
        return true;
    } catch (const boost::bad_any_cast&) {
        return false;
    }
}
