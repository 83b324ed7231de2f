/// \file
/// \brief The part of the platform's system library (`libqz_system`) that the audio player uses.
///
/// Objects with typed, named properties; a registry that keeps objects alive; threads that run
/// posted tasks and interval timers; one system service thread shared by the whole process; and a
/// reporter for failed checks. This is the library's only public header: any library with the
/// SONAME `libqz_system.so.1` that defines what is declared here can take its place.
///
/// Threads. Every function may be called from any thread unless its comment says otherwise. No lock
/// of this library is held while a task, a tick, a completion or the destructor of a closure runs,
/// so each of these may call any function here.
///
/// Handles must not be empty. A service's thread has the signal mask of the thread that made the service,
/// and SIGPIPE blocked. The system service's thread has the mask of the thread whose call started it.
///
/// Errors. `std::bad_alloc` reaches the caller when memory runs out; nothing has been done then. The
/// comment of a function names what else it throws.
#pragma once

#include <boost/any.hpp>
#include <boost/enable_shared_from_this.hpp>
#include <boost/shared_ptr.hpp>

#include <functional>
#include <map>
#include <mutex>
#include <string>

#if defined(__GNUC__)
#define QZ_SYSTEM_API __attribute__((visibility("default")))
#else
#define QZ_SYSTEM_API
#endif

/// An object's properties by name, in byte order of the names. Each value keeps its type.
using property_list = std::map<std::string, boost::any>;

/// Root of the platform's objects: hands out shared ownership of itself.
///
/// `shared_from_this()` throws `boost::bad_weak_ptr` while no `boost::shared_ptr` owns the object.
class qz_object_base : public boost::enable_shared_from_this<qz_object_base>
{
};

/// Base of every platform object: properties, their lock, and its entry in the registry.
class QZ_SYSTEM_API _qz_object : public qz_object_base
{
public:
    /// Builds a property list that holds "object-destroyed" as `bool` false, and an unlocked mutex.
    /// The registry does not hold the new object.
    _qz_object();

    virtual ~_qz_object();

    /// Returns a `boost::shared_ptr` to this object. Throws `boost::bad_weak_ptr` when none owns it.
    virtual boost::shared_ptr<_qz_object> shared_object() = 0;

    /// Returns the kind of object, in square brackets.
    virtual std::string type_tag() = 0;

    /// Begins the object's orderly destruction. `file` and `line` are the caller's source
    /// position.
    virtual void destroy(std::string file, int line) = 0;

    /// Writes one line on standard output: the object's tag and address, what the registry knows of
    /// it, and the name and type of each property. Does not take the property lock: the caller holds
    /// it, or knows that no other thread changes the properties.
    virtual void describe();

    /// Returns whether the registry holds this object: true from `qz_object_ref` to
    /// `qz_object_unref_real`.
    bool is_reffed();

    /// Takes the object's property lock and waits while another thread has it. It is the same lock
    /// as `property_mutex`, and not recursive. `file` and `line` are the caller's source position.
    void property_lock(std::string file, int line);

    /// Releases the property lock. To be called once for every `property_lock`, on its thread.
    void property_unlock();

    /// The object's properties. Guarded by `property_mutex`.
    std::map<std::string, boost::any> property_list;

    /// Guards `property_list` during one short access.
    std::mutex property_mutex;

private:
    friend class qz_object_registry;
    class registry_state;

    registry_state* registry_ = nullptr;
};

/// A thread with a queue of tasks and a set of interval timers; opaque.
class _qz_thread_service;

/// Gives the registry a strong reference to `object`. Does nothing when it has one already.
QZ_SYSTEM_API void qz_object_ref(boost::shared_ptr<_qz_object> object);

/// Releases the registry's reference to `object`, which lives on only while others own it. Does
/// nothing when the registry has none.
QZ_SYSTEM_API void qz_object_unref_real(boost::shared_ptr<_qz_object> object);

/// Raises the count of live objects of the kind `name` by one.
QZ_SYSTEM_API void qz_object_ref_increment(std::string name);

/// Lowers the count of live objects of the kind `name` by one.
QZ_SYSTEM_API void qz_object_ref_decrement(std::string name);

/// Copies the property `key` into `value` and returns true; returns false, and leaves `value` as it
/// was, when there is no such property. Takes no lock: the caller holds the object's.
QZ_SYSTEM_API bool qz_property_get(std::map<std::string, boost::any>& list, std::string key,
                                   boost::any& value);

/// Starts a thread named `name` (its first 15 bytes) that runs posted tasks one at a time, in the
/// order posted. The registry holds the new service. The thread has a stack of 1 MiB, of which only
/// what is touched costs memory; an idle one sleeps and never wakes up by itself. The thread ends
/// by itself when the last handle of the service is dropped without a stop.
///
/// Also starts the system service if it does not run yet; it runs until the process ends. Throws
/// `std::system_error` when a thread cannot be started; there is no new service then.
QZ_SYSTEM_API boost::shared_ptr<_qz_thread_service> qz_thread_service_new(std::string name);

/// Returns the same service seen as a platform object.
QZ_SYSTEM_API boost::shared_ptr<_qz_object>
qz_thread_service_to_object(boost::shared_ptr<_qz_thread_service> service);

/// Queues `task` and returns at once; it later runs on the service's thread. A task given to a
/// stopped service is dropped. A task that throws is reported on standard output and the thread goes
/// on. `file` and `line` are the caller's source position.
QZ_SYSTEM_API void qz_thread_service_exec(boost::shared_ptr<_qz_thread_service> service,
                                          std::function<void()> task, std::string file, int line);

/// Calls `tick` on the service's thread once every `period` milliseconds, the first time one period
/// from now, until it returns false or throws, the interval is cleared or the service is stopped. A due
/// tick queues after the tasks that wait already. Ticks start at least one period apart, so late ones
/// are not caught up. A period of 0 counts as 1; with one too long for the clock no tick comes. `file`
/// and `line` are the caller's source position.
///
/// Returns the interval's id: never 0, and never used again by the service. An interval given to a
/// stopped service is dropped.
QZ_SYSTEM_API unsigned long
qz_thread_service_set_interval(boost::shared_ptr<_qz_thread_service> service,
                               std::function<bool()> tick, unsigned long period, std::string file,
                               int line);

/// Ends the interval `id`: its tick is not called again, even if it was due already. A tick that the
/// service's thread runs, or is about to run, finishes. An id whose interval has ended is ignored.
QZ_SYSTEM_API void qz_thread_service_clear_interval(boost::shared_ptr<_qz_thread_service> service,
                                                    unsigned long id);

/// To be called inside a task of the service, nested to any depth: runs at most one pending task or
/// due tick on the calling thread. Returns 1 when it took one; returns 0 at once when none is pending or
/// the service has been stopped.
QZ_SYSTEM_API int qz_thread_service_run_one_only(boost::shared_ptr<_qz_thread_service> service);

/// Asks the service to stop and returns at once, from any thread, its own included. What runs
/// finishes; waiting tasks and intervals are dropped and their closures destroyed; then `completion`,
/// if not empty, is called once with the service. All of this happens on the service's thread; when
/// that has ended already, a further stop's completion is called on the system service.
QZ_SYSTEM_API void
qz_thread_service_stop(boost::shared_ptr<_qz_thread_service> service,
                       std::function<void(boost::shared_ptr<_qz_thread_service>)> completion);

/// Queues `task` on the system service, one thread shared by the whole process that runs its tasks
/// one at a time, in the order posted, and returns at once. A task that throws is reported on standard
/// output and the thread goes on. `file` and `line` are the caller's source position. The thread has a
/// stack of 8 MiB. Throws `std::system_error` when the system service does not run yet and its thread
/// cannot be started.
QZ_SYSTEM_API void qz_system_service_exec(std::function<void()> task, std::string file, int line);

/// Does nothing when `condition` is true. Otherwise writes one error line on standard output, with
/// the text of the failed expression, a message and the source position of the check, and returns.
QZ_SYSTEM_API void qz_assertion_faild(bool condition, std::string expression, std::string message,
                                      std::string file, int line);
