#include "qz_audio/qz_audio_record.h"

#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_retry.h"

#include <mutex>

_audio_data* get_audio_data(_qz_audio* ptr)
{
    _audio_data* data = nullptr;
    retry_on_bad_alloc([&] {
        const std::lock_guard<std::mutex> lock(ptr->property_mutex);
        QZ_AUDIO_CHECK("audio_data", qz_property_get_extract<_audio_data*>(ptr->property_list,"audio_data",&data));
    });
    return data;
}

void release_handles(mpg123_handle*& mh, out123_handle*& ao)
{
    out123_del(ao);
    mpg123_close(mh);
    mpg123_delete(mh);
    ao = nullptr;
    mh = nullptr;
}
