#include "system/object_registry.h"

#include <utility>

qz_object_registry& qz_object_registry::instance()
{
    static auto& registry = *new qz_object_registry;
    return registry;
}

void qz_object_registry::hold(boost::shared_ptr<_qz_object> object)
{
    _qz_object& held = *object;
    // Destroyed after the lock is released, also where the registry has the object already.
    std::list<_qz_object::registry_state> entry;
    entry.push_back({std::move(object), {}});

    const std::lock_guard<std::mutex> lock(mutex_);
    if (held.registry_ != nullptr) {
        return;
    }
    held_.splice(held_.begin(), entry);
    held.registry_ = &held_.front();
    held.registry_->position = held_.begin();
}

void qz_object_registry::release(_qz_object& object)
{
    // Destroyed after the lock is released: it may be the object's last owner.
    std::list<_qz_object::registry_state> released;

    const std::lock_guard<std::mutex> lock(mutex_);
    if (object.registry_ != nullptr) {
        released.splice(released.begin(), held_, object.registry_->position);
        object.registry_ = nullptr;
    }
}

bool qz_object_registry::holds(const _qz_object& object)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return object.registry_ != nullptr;
}

void qz_object_registry::change_live_count(const std::string& name, long change)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    live_[name] += change;
}

long qz_object_registry::live_count(const std::string& name)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = live_.find(name);
    return entry == live_.end() ? 0 : entry->second;
}

void qz_object_ref(boost::shared_ptr<_qz_object> object)
{
    qz_object_registry::instance().hold(std::move(object));
}

void qz_object_unref_real(boost::shared_ptr<_qz_object> object)
{
    qz_object_registry::instance().release(*object);
}

void qz_object_ref_increment(std::string name)
{
    qz_object_registry::instance().change_live_count(name, 1);
}

void qz_object_ref_decrement(std::string name)
{
    qz_object_registry::instance().change_live_count(name, -1);
}
