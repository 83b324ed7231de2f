#include "session/measuring.h"

#include <system_error>
#include <thread>

/// Where there is no thread to be had, the length stays unknown.
void measure_in_background(const std::string& path, const std::shared_ptr<event_queue>& events)
try {
    const auto measure = [path, events] {
        events->push(track_measured{path, measure_track(path)});
    };
    std::thread(measure).detach();
} catch (const std::system_error&) {
    events->push(track_measured{path, std::nullopt});
}
