#include "system/diagnostics.h"
#include "system/object_registry.h"
#include "system/qz_system.h"

#include <boost/core/demangle.hpp>

#include <locale>
#include <sstream>

_qz_object::_qz_object() : property_list{{"object-destroyed", false}} {}

_qz_object::~_qz_object() = default;

void _qz_object::describe()
{
    const std::string tag = type_tag();
    std::ostringstream line;
    line.imbue(std::locale::classic());
    line << tag << " at " << static_cast<void*>(this)
         << (is_reffed() ? ", held by the registry, " : ", not held by the registry, ")
         << qz_object_registry::instance().live_count(tag) << " alive, properties:";
    for (const auto& property : property_list) {
        line << ' ' << property.first << " ("
             << boost::core::demangle(property.second.type().name()) << ')';
    }
    print_line(line.str());
}

// Not const: the platform's interface has no const members.
bool _qz_object::is_reffed() // NOLINT(readability-make-member-function-const)
{
    return qz_object_registry::instance().holds(*this);
}

void _qz_object::property_lock(std::string, int)
{
    property_mutex.lock();
}

void _qz_object::property_unlock()
{
    property_mutex.unlock();
}

bool qz_property_get(std::map<std::string, boost::any>& list, std::string key, boost::any& value)
{
    const auto property = list.find(key);
    if (property == list.end()) {
        return false;
    }
    value = property->second;
    return true;
}
