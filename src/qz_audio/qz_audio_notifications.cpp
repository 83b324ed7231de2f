#include "qz_audio/qz_audio_notifications.h"

#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_record.h"
#include "qz_audio/qz_audio_retry.h"

#include <mutex>
#include <string_view>

// In each function the local copy of the callback outlives the lock, so that what the callback captured is
// never destroyed with the lock held. Each retries when out of memory: a lost report would never be repeated.

namespace
{

/// Returns the decoder's text for its last error; if it has none, the output's, or null.
const char* error_text(_audio_data& adata)
{
    const char* const text = mpg123_strerror(adata.mh);
    return text != nullptr ? text : out123_strerror(adata.ao);
}

bool is_refused_format(const char* text)
{
    constexpr std::string_view refusal = "Unable to set up output format";
    return text != nullptr && std::string_view(text).substr(0, refusal.size()) == refusal;
}

} // namespace

bool change_status(qz_audio_ptr ptr, qz_audio_status new_status)
{
    if (!ptr) {
        return false;
    }
    retry_on_bad_alloc([&] {
        std::function<void(qz_audio_ptr, qz_audio_status)> on_status_change_cb;
        const std::lock_guard<std::mutex> lock(ptr->property_mutex);
        QZ_AUDIO_CHECK("on_status_changed", qz_property_get_extract<std::function<void(qz_audio_ptr,qz_audio_status)>> (ptr->property_list,"on_status_changed",&on_status_change_cb));
        QZ_AUDIO_CHECK("status", qz_property_set<qz_audio_status>(ptr->property_list,"status",new_status));
        if (on_status_change_cb) {
            qz_system_service_exec(
                [ptr, on_status_change_cb, new_status] { on_status_change_cb(ptr, new_status); },
                __FILE__, __LINE__);
        }
    });
    return true;
}

bool call_on_error(qz_audio_ptr ptr, int code)
{
    if (!ptr) {
        return false;
    }
    _audio_data* const adata = get_audio_data(ptr.get());
    retry_on_bad_alloc([&] {
        std::function<void(qz_audio_ptr, int)> on_error;
        const std::lock_guard<std::mutex> lock(ptr->property_mutex);
        const char* const text = adata != nullptr ? error_text(*adata) : nullptr;
        if (adata != nullptr) {
            adata->last_report_was_refusal = is_refused_format(text);
        }
        if (text != nullptr) {
            const std::string error_str = text;
            QZ_AUDIO_CHECK("error_str", qz_property_set<std::string> (ptr->property_list,"error_str",error_str));
        }
        QZ_AUDIO_CHECK("on_error", qz_property_get_extract<std::function<void(qz_audio_ptr,int)>> (ptr->property_list,"on_error",&on_error));
        if (on_error) {
            qz_system_service_exec([ptr, on_error, code] { on_error(ptr, code); }, __FILE__,
                                   __LINE__);
        }
    });
    return true;
}

bool call_on_volume_change(qz_audio_ptr ptr, int new_volume)
{
    if (!ptr) {
        return false;
    }
    retry_on_bad_alloc([&] {
        std::function<void(qz_audio_ptr, int)> on_volume_change;
        const std::lock_guard<std::mutex> lock(ptr->property_mutex);
        QZ_AUDIO_CHECK("on_volume_change", qz_property_get_extract<std::function<void(qz_audio_ptr,int)>> (ptr->property_list,"on_volume_change",&on_volume_change));
        QZ_AUDIO_CHECK("audio_volume", qz_property_set<int>(ptr->property_list,"audio_volume",new_volume));
        if (on_volume_change) {
            qz_system_service_exec(
                [ptr, on_volume_change, new_volume] { on_volume_change(ptr, new_volume); },
                __FILE__, __LINE__);
        }
    });
    return true;
}
