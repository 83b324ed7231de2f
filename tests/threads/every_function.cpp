#include "every_function.h"

#include "silent_sound.h"

#include <array>

namespace
{

/// Volumes, targets, steps and timeouts of all kinds, never one that lets a fade go on for ever.
int number(unsigned choice)
{
    constexpr std::array<int, 8> numbers{1, 10, 50, 100, 250, 3, 99, 7};
    return numbers.at(choice % numbers.size());
}

std::string track(unsigned choice)
{
    switch (choice % 8) {
    case 0:
        return broken_track();
    case 1:
        return "/no/such/track.mp3";
    case 2:
    case 3:
        return other_silent_track();
    default:
        return silent_track();
    }
}

/// An empty callback now and then, else one that calls back in.
template <typename Callback, typename Full>
Callback callback(unsigned choice, Full full)
{
    return choice % 4 == 0 ? Callback() : Callback(full);
}

using status_callback = std::function<void(qz_audio_ptr, qz_audio_status)>;
using code_callback = std::function<void(qz_audio_ptr, int)>;
using stop_callback = std::function<void(qz_audio_ptr)>;

} // namespace

const std::vector<exported_function>& all_functions()
{
    using player = const qz_audio_ptr&;
    static const std::vector<exported_function> functions{
        {"qz_audio_new",
         [](player, unsigned) { qz_audio_destroy(qz_audio_new(), __FILE__, __LINE__); }},
        {"qz_audio_destroy", [](player p, unsigned) { qz_audio_destroy(p, __FILE__, __LINE__); }},
        {"qz_audio_set_bin_path",
         [](player, unsigned choice) {
             qz_audio_set_bin_path(choice % 2 == 0 ? ""
                                                   : "./a path that is long enough for the heap/");
         }},
        {"qz_audio_get_bin_path", [](player, unsigned) { qz_audio_get_bin_path(); }},
        {"qz_audio_open", [](player p, unsigned) { qz_audio_open(p); }},
        {"qz_audio_set_audio_track",
         [](player p, unsigned choice) { qz_audio_set_audio_track(p, track(choice)); }},
        {"qz_audio_play", [](player p, unsigned) { qz_audio_play(p); }},
        {"qz_audio_pause", [](player p, unsigned) { qz_audio_pause(p); }},
        {"qz_audio_stop",
         [](player p, unsigned choice) {
             qz_audio_stop(p, callback<stop_callback>(choice, [](qz_audio_ptr by) {
                               qz_audio_get_playback_status(by);
                           }));
         }},
        {"qz_audio_set_volume",
         [](player p, unsigned choice) { qz_audio_set_volume(p, number(choice)); }},
        {"qz_audio_volume_increment_timeout_start",
         [](player p, unsigned choice) {
             qz_audio_volume_increment_timeout_start(p, number(choice) - 5);
         }},
        {"qz_audio_volume_decrement_timeout_start",
         [](player p, unsigned choice) {
             qz_audio_volume_decrement_timeout_start(p, number(choice) - 5);
         }},
        {"qz_audio_set_repeat",
         [](player p, unsigned choice) { qz_audio_set_repeat(p, choice % 2 == 0); }},
        {"qz_audio_get_playback_status",
         [](player p, unsigned) { qz_audio_get_playback_status(p); }},
        {"qz_audio_get_current_track", [](player p, unsigned) { qz_audio_get_current_track(p); }},
        {"qz_audio_get_last_error_string",
         [](player p, unsigned) {
             std::string text = "an error text that is long enough for the heap";
             qz_audio_get_last_error_string(p, text);
         }},
        {"qz_audio_on_status_change",
         [](player p, unsigned choice) {
             qz_audio_on_status_change(
                 p, callback<status_callback>(choice, [](qz_audio_ptr by, qz_audio_status) {
                     qz_audio_get_current_track(by);
                 }));
         }},
        {"qz_audio_on_error",
         [](player p, unsigned choice) {
             qz_audio_on_error(p, callback<code_callback>(choice, [](qz_audio_ptr by, int) {
                                   qz_audio_set_volume(by, 100);
                               }));
         }},
        {"qz_audio_on_volume_change",
         [](player p, unsigned choice) {
             qz_audio_on_volume_change(p, callback<code_callback>(choice, [](qz_audio_ptr by, int) {
                                           qz_audio_on_error(by, nullptr);
                                       }));
         }},
        {"qz_audio_set_audio_volume_increment_step",
         [](player p, unsigned choice) {
             qz_audio_set_audio_volume_increment_step(p, number(choice));
         }},
        {"qz_audio_set_audio_volume_decrement_step",
         [](player p, unsigned choice) {
             qz_audio_set_audio_volume_decrement_step(p, number(choice));
         }},
        {"qz_audio_set_audio_volume_increment_timeout",
         [](player p, unsigned choice) {
             qz_audio_set_audio_volume_increment_timeout(p, static_cast<int>(choice % 4));
         }},
        {"qz_audio_set_audio_volume_decrement_timeout",
         [](player p, unsigned choice) {
             qz_audio_set_audio_volume_decrement_timeout(p, static_cast<int>(choice % 4));
         }},
    };
    return functions;
}
