/// \file
/// \brief What an application writes that keeps its settings itself.
#pragma once

#include <boost/any.hpp>

#include <map>
#include <mutex>
#include <string>
#include <utility>

/// Values by name under a mutex. A value keeps the type with which it was made.
class settings_by_hand
{
public:
    template <typename T>
    void make(std::string name, T value)
    {
        values_.emplace(std::move(name), std::move(value));
    }

    template <typename T>
    T get(const std::string& name)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return boost::any_cast<const T&>(values_.at(name));
    }

    template <typename T>
    void set(const std::string& name, T value)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        boost::any_cast<T&>(values_.at(name)) = std::move(value);
    }

private:
    std::mutex mutex_;
    std::map<std::string, boost::any> values_;
};
