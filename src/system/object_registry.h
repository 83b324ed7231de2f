/// \file
/// \brief The registry: which objects the platform keeps alive, and how many of each kind live.
#pragma once

#include "system/qz_system.h"

#include <list>

/// What the registry keeps for an object that it holds.
class _qz_object::registry_state
{
public:
    boost::shared_ptr<_qz_object> object;
    std::list<registry_state>::iterator position;
};

class qz_object_registry
{
public:
    /// The process's registry. It outlives every static object, since threads may still use it while
    /// the process ends.
    static qz_object_registry& instance();

    void hold(boost::shared_ptr<_qz_object> object);
    void release(_qz_object& object);
    bool holds(const _qz_object& object);

    void change_live_count(const std::string& name, long change);
    long live_count(const std::string& name);

private:
    std::mutex mutex_;
    std::list<_qz_object::registry_state> held_;
    std::map<std::string, long> live_;
};
