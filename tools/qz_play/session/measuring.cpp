#include "session/measuring.h"

#include <system_error>
#include <thread>
#include <utility>

/// Where there is no thread to be had, the length stays unknown.
void measure_in_background(const std::string& path, std::shared_ptr<event_queue> events)
try {
    const auto measure = [path, events = std::move(events)] {
        events->push(track_measured{path, measure_track(path)});
    };
    std::thread(measure).detach();
} catch (const std::system_error&) {
}
