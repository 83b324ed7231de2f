#include "foreign_code.h"

#include "failure.h"
#include "mutexes.h"
#include "players.h"
#include "scheduler.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace simulation
{

namespace
{

enum class lock_kind : unsigned char { property, module_path, other };

enum class when : unsigned char { always, in_destructor };

struct place {
    lock_kind lock;
    std::string_view code;
    when allowed;
};

/// Everything else runs without a lock.
constexpr place places[] = {
    // Every property operation, and the report of its result.
    {lock_kind::property, "qz_property_get", when::always},
    {lock_kind::property, "qz_assertion_faild", when::always},
    // A report is stored and posted as one; the stored callback is copied for it.
    {lock_kind::property, "qz_system_service_exec", when::always},
    {lock_kind::property, "copy of a callback", when::always},
    // The error's text is stored under the same lock.
    {lock_kind::property, "mpg123_strerror", when::always},
    {lock_kind::property, "out123_strerror", when::always},
    // A fade reads its settings and changes its timer as one, and its step is one change.
    {lock_kind::property, "qz_thread_service_clear_interval", when::always},
    {lock_kind::property, "qz_thread_service_set_interval", when::always},
    {lock_kind::property, "mpg123_volume", when::always},
    // A second destroy.
    {lock_kind::property, "describe", when::always},
    // The destructor's lock.
    {lock_kind::property, "out123_del", when::in_destructor},
    {lock_kind::property, "mpg123_close", when::in_destructor},
    {lock_kind::property, "mpg123_delete", when::in_destructor},
    // Outputs are opened one after another.
    {lock_kind::other, "out123_open", when::always},
};

lock_kind kind_of(const pthread_mutex_t& mutex)
{
    if (observed().find(mutex) != nullptr) {
        return lock_kind::property;
    }
    return &mutex == module_path_mutex() ? lock_kind::module_path : lock_kind::other;
}

bool is_listed(const pthread_mutex_t& mutex, const char* code)
{
    const lock_kind kind = kind_of(mutex);
    return std::any_of(std::begin(places), std::end(places), [&](const place& each) {
        return each.lock == kind && each.code == code &&
               (each.allowed == when::always || observed().find(mutex)->ends());
    });
}

} // namespace

void check_no_lock_beyond_list(const thread& self, const char* foreign_code)
{
    for (const pthread_mutex_t* const held : self.locks) {
        if (!is_listed(*held, foreign_code)) {
            fail("no lock is held while code of others runs, beyond the list",
                 std::string(foreign_code) + " runs on " + self.name + " with a lock held");
        }
    }
}

} // namespace simulation
