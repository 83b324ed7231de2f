#include "tracks.h"

tracks::tracks()
{
    const std::string track = silent_frames();
    paths_ = {
        folder_.put("good.mp3", track),
        folder_.put("other_rate.mp3", other_silent_frames()),
        folder_.put("two_rates.mp3", track + other_silent_frames()),
        folder_.put("truncated.mp3", track.substr(0, track.size() / 2 - 30)),
        folder_.put("garbage_within.mp3", track + std::string(2000, 'x') + track),
        folder_.put("text.mp3", std::string(5000, 'x')),
        folder_.put("empty.mp3", ""),
        "/no/such/track.mp3",
    };
}
