#include "qz_audio/qz_audio.h"
#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_diagnostics.h"
#include "qz_audio/qz_audio_engine.h"
#include "qz_audio/qz_audio_library.h"
#include "qz_audio/qz_audio_notifications.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_property_guard.h"
#include "qz_audio/qz_audio_record.h"
#include "qz_audio/qz_audio_retry.h"
#include "qz_audio/qz_audio_task.h"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace
{

constexpr const char* tag = "[qz_audio]";

/// Reverts what a player's constructor has registered, unless it is committed.
class registry_rollback
{
public:
    explicit registry_rollback(boost::shared_ptr<_qz_thread_service> service)
        : service_(std::move(service))
    {
    }
    ~registry_rollback()
    {
        if (!committed_) {
            release_service();
            if (counted_) {
                qz_object_ref_decrement(tag);
            }
        }
    }
    registry_rollback(const registry_rollback&) = delete;
    registry_rollback& operator=(const registry_rollback&) = delete;

    void count_player()
    {
        qz_object_ref_increment(tag);
        counted_ = true;
    }
    void release_service()
    {
        if (service_) {
            qz_object_unref_real(qz_thread_service_to_object(service_));
            service_.reset();
        }
    }
    void commit() { committed_ = true; }

private:
    boost::shared_ptr<_qz_thread_service> service_; ///< Null once released.
    bool counted_ = false;
    bool committed_ = false;
};

/// Returns whether to destroy the player now: false after an earlier destroy.
bool mark_destroyed(_qz_audio& player, const std::string& file, int line)
{
    const std::lock_guard<std::mutex> lock(player.property_mutex);
    boost::any destroyed;
    if (!qz_property_get(player.property_list, "object-destroyed", destroyed)) {
        return true;
    }
    bool again = false;
    int cast_line = 0;
    try {
        if (cast_line = __LINE__; boost::any_cast<bool>(destroyed)) {
            again = true;
        }
    } catch (const boost::bad_any_cast& exception) {
        write_error("bad cast destroy any: " __FILE__ ":" + std::to_string(cast_line) + " - " +
                    exception.what());
        return false;
    }
    if (again) {
        write_warning("CALLING DESTROY MULTIPLE TIMES IS NOT AN OPTION " +
                      in_magenta(player.type_tag()) + "-" + file + ":" + std::to_string(line));
        player.describe();
        return false;
    }
    qz_property_set<bool>(player.property_list, "object-destroyed", true);
    return true;
}

/// Clears the callbacks. What they captured is destroyed after the lock is released.
void clear_callbacks(_qz_audio& player)
{
    using status_callback = std::function<void(qz_audio_ptr, qz_audio_status)>;
    using code_callback = std::function<void(qz_audio_ptr, int)>;

    boost::any on_status_changed = status_callback();
    boost::any on_error = code_callback();
    boost::any on_volume_change = code_callback();
    const qz_property_guard lock(player, __FILE__, __LINE__);
    property_list& list = player.property_list;
    QZ_AUDIO_CHECK_AS(
        "on_status_changed",
        R"(qz_property_set<std::function<void(qz_audio_ptr,qz_audio_status)>>(property_list,"on_status_changed",nullptr))",
        qz_property_exchange(list, "on_status_changed", on_status_changed));
    QZ_AUDIO_CHECK_AS(
        "on_error",
        R"(qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,"on_error",nullptr))",
        qz_property_exchange(list, "on_error", on_error));
    QZ_AUDIO_CHECK_AS(
        "on_volume_change",
        R"(qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,"on_volume_change",nullptr))",
        qz_property_exchange(list, "on_volume_change", on_volume_change));
}

/// Last step, system service: the registry releases the player.
void release_player(const qz_audio_ptr& self)
{
    if (self->is_reffed()) {
        qz_object_unref_real(self);
    }
}

/// Called when the player's thread has stopped: posts the last step to the system service.
void post_release_player(_qz_audio* player)
{
    const qz_audio_ptr self = handle_of(player);
    retry_on_bad_alloc(
        [&] { qz_system_service_exec([self] { release_player(self); }, __FILE__, __LINE__); });
}

void stop_thread(_qz_audio* player, const qz_audio_ptr& ptr)
{
    qz_thread_service_stop(
        player->thread_service,
        [ptr, player](boost::shared_ptr<_qz_thread_service>) { post_release_player(player); });
}

/// System service, once playback has stopped: releases decoder and output, reports the status, clears the
/// callbacks and stops the player's thread. Retries when out of memory: the application cannot call it again.
void finish_destroy(_qz_audio* player, const qz_audio_ptr& ptr)
{
    _audio_data* const adata = get_audio_data(player);
    const qz_audio_status old_status = std::exchange(adata->status, qz_audio_status_none);
    release_handles(adata->mh, adata->ao);
    const auto report = [&] {
        if (old_status != qz_audio_status_none) {
            change_status(handle_of(player), qz_audio_status_none);
        }
    };
    run_finally(report, [&] {
        retry_on_bad_alloc([&] { clear_callbacks(*player); });
        retry_on_bad_alloc([&] { stop_thread(player, ptr); });
    });
}

/// Player's thread: from now on it leaves the handles and the status alone. The system service does the rest.
void close_for_thread(_qz_audio* player, const std::function<void(qz_audio_ptr)>& completion)
{
    player->closed = true;
    post_completion(player, completion);
}

/// Posts the stop with which the destruction begins.
void post_last_stop(_qz_audio* player)
{
    std::function<void(qz_audio_ptr)> completion =
        [self = handle_of(player), player](qz_audio_ptr ptr) { finish_destroy(player, ptr); };
    auto stop_and_close = [completion = std::move(completion)](_qz_audio* stopped) {
        run_finally([&] { run_if_open(stopped, do_stop); },
                    [&] { close_for_thread(stopped, completion); });
    };
    post_halt(player, std::move(stop_and_close), __FILE__, __LINE__);
}

/// Makes a destroy that ran out of memory repeatable. Allocates nothing.
void unmark_destroyed(_qz_audio& player)
{
    const std::lock_guard<std::mutex> lock(player.property_mutex);
    for (auto& [name, value] : player.property_list) {
        if (bool* const destroyed = boost::any_cast<bool>(&value);
            destroyed != nullptr && name == "object-destroyed") {
            *destroyed = false;
        }
    }
}

/// Frees the record with its block and its handles. Does nothing the second time.
void release_record(std::unique_ptr<_audio_data>& adata)
{
    if (adata == nullptr) {
        return;
    }
    std::free(std::exchange(adata->buffer, nullptr));
    if (adata->mh != nullptr || adata->ao != nullptr) {
        release_handles(adata->mh, adata->ao);
    }
    adata.reset();
}

} // namespace

qz_audio_ptr qz_audio_new()
{
    qz_audio_ptr player(new _qz_audio);
    qz_object_ref(player);
    keep_library_loaded();
    return player;
}

_qz_audio::_qz_audio() : thread_service(qz_thread_service_new("audio"))
{
    registry_rollback rollback(thread_service);
    rollback.count_player();
    rollback.release_service();
    auto record = std::make_unique<_audio_data>();
    _audio_data* const adata = record.get();
    QZ_AUDIO_CHECK("audio_data", qz_property_init<_audio_data*>(property_list,"audio_data",adata));
    QZ_AUDIO_CHECK("audio_track", qz_property_init<std::string>(property_list,"audio_track",""));
    QZ_AUDIO_CHECK("error_str", qz_property_init<std::string>(property_list,"error_str",""));
    QZ_AUDIO_CHECK("status", qz_property_init<qz_audio_status>(property_list,"status",qz_audio_status::qz_audio_status_none));
    QZ_AUDIO_CHECK("audio_volume", qz_property_init<int>(property_list,"audio_volume",100));
    QZ_AUDIO_CHECK("volume_increment_timeout", qz_property_init<int>(property_list,"volume_increment_timeout",500));
    QZ_AUDIO_CHECK("volume_decrement_timeout", qz_property_init<int>(property_list,"volume_decrement_timeout",500));
    QZ_AUDIO_CHECK("repeat", qz_property_init<bool>(property_list,"repeat",false));
    QZ_AUDIO_CHECK("volume_increment_step", qz_property_init<int>(property_list,"volume_increment_step",10));
    QZ_AUDIO_CHECK("volume_decrement_step", qz_property_init<int>(property_list,"volume_decrement_step",10));
    QZ_AUDIO_CHECK("on_error", qz_property_init<std::function<void(qz_audio_ptr,int)>>(property_list,"on_error",nullptr));
    QZ_AUDIO_CHECK("on_volume_change", qz_property_init<std::function<void(qz_audio_ptr,int)>>(property_list,"on_volume_change",nullptr));
    QZ_AUDIO_CHECK("on_status_changed", qz_property_init<std::function<void(qz_audio_ptr,qz_audio_status)>>(property_list,"on_status_changed",nullptr));
    static_cast<void>(record.release()); // owned by the property now
    rollback.commit();
}

_qz_audio::~_qz_audio()
{
    std::unique_ptr<_audio_data> adata(get_audio_data(this));
    const bool is_stored = adata != nullptr;
    retry_on_bad_alloc([&] {
        const qz_property_guard lock(*this, __FILE__, __LINE__);
        release_record(adata);
        if (is_stored) {
            QZ_AUDIO_CHECK("audio_data", qz_property_set<_audio_data*>(property_list,"audio_data",nullptr));
        }
    });
    qz_object_ref_decrement(tag);
}

boost::shared_ptr<_qz_object> _qz_audio::shared_object()
{
    return handle_of(this);
}

std::string _qz_audio::type_tag()
{
    return tag;
}

void _qz_audio::destroy(std::string file, int line)
{
    if (!mark_destroyed(*this, file, line)) {
        return;
    }
    try {
        post_last_stop(this);
    } catch (const std::bad_alloc&) {
        unmark_destroyed(*this);
        throw;
    }
}
