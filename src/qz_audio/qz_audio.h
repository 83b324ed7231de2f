/// \file
/// \brief The audio player: plays MPEG audio files on the default sound device.
///
/// \code
/// qz_audio_ptr player = qz_audio_new();
/// qz_audio_on_status_change(player, [](qz_audio_ptr, qz_audio_status status) { /* told here */ });
/// qz_audio_set_audio_track(player, "song.mp3");
/// qz_audio_play(player);                        // returns at once
/// // ... later ...
/// qz_audio_destroy(player, __FILE__, __LINE__); // required: dropping the handle is not enough
/// \endcode
///
/// Three kinds of thread
/// ---------------------
/// - **Caller**: your threads. Every function may be called from any of them, at any time. None
///   waits for sound, for a file or for a callback.
/// - **Player's thread**: each player has one, named "audio". It opens the output, decodes, plays,
///   and ticks the fades. Requests posted to it take effect in the order in which they were posted;
///   while a track plays they are served between two decoded blocks.
/// - **System service**: one thread of the whole process. It runs every callback, one at a time, and
///   the later steps of each player's destruction. A callback that blocks holds up all of these.
///
/// Callbacks
/// ---------
/// A callback runs with no lock held, and `qz_audio_get_playback_status` tells the status that it is
/// told, or a later one. From inside any callback you may call everything here, on its own player or another,
/// `qz_audio_destroy` included. The handle that it gets keeps the player alive while it is kept; it
/// may be kept. The thread has 8 MiB of stack. A callback that throws is reported on standard output
/// and nothing else happens. A registered function is copied on the library's threads, while the
/// player's lock is held: share what it captures through pointers, so that no copy constructor of
/// yours calls back in or throws. What a replaced callback captured is let go after the lock.
///
/// Who owns what, and how a player ends
/// ------------------------------------
/// You hold handles (`qz_audio_ptr`). The platform holds one too, from `qz_audio_new` to the last step
/// of the destruction, and so does every posted request and callback. Hence a player that is never
/// destroyed lives for ever, and a repeating one plays for ever. `qz_audio_destroy` returns at once;
/// the player then stops, releases its decoder and its output, reports `qz_audio_status_none`, forgets
/// its callbacks and ends its thread. The object itself goes with the last handle. Requests to a
/// destroyed player are dropped. Callbacks that were posted before the end still run.
///
/// Empty handles
/// -------------
/// A function that is given an empty handle writes one warning line on standard output and returns
/// the neutral result that stands at it.
///
/// What each request does, by status
/// ---------------------------------
/// Cells give the new status, which is notified, in the order shown; "-" means that nothing happens
/// and nothing is notified.
///
/// | in \ request | open              | set track  | play                      | pause  | stop    |
/// |--------------|-------------------|------------|---------------------------|--------|---------|
/// | none         | opened            | opened, loaded | opened, loaded, playing | -    | -       |
/// | opened       | opened (see there)| loaded     | -                         | -      | -       |
/// | loaded       | opened (see there)| loaded     | playing                   | -      | -       |
/// | playing      | opened (see there)| loaded     | - (halts decoding: see there) | paused | stopped |
/// | paused       | opened (see there)| loaded     | playing                   | -      | stopped |
/// | stopped      | opened (see there)| loaded     | loaded, playing           | -      | -       |
///
/// By itself a playing track becomes stopped at its end (unless it repeats), or after a decode error,
/// which is notified twice. A failed open, track or play notifies `on_error`; what becomes of the
/// status stands at each function. `qz_audio_destroy` gives stopped (from playing and paused), then
/// none (from all but none).
///
/// Errors
/// ------
/// `on_error` is told the raw code of libmpg123 (see `mpg123_errors`) or of libout123 (see
/// `out123_error`), or 7 when no output can be made. The codes overlap, and only what was asked for
/// tells whose a code is: opening and starting the output are libout123's, all else is libmpg123's.
///
/// The player holds the last code. While it is not 0, volume changes and pauses are dropped. A play
/// that gets as far as decoding clears it, and so do an open that succeeds (also the one inside a first
/// set track or play) and a stop of a playing or paused track; setting a good track on an open player
/// does not.
///
/// The exceptions that can reach a caller are `std::bad_alloc`, `std::system_error` (a thread or a lock
/// cannot be had) and, for an object that no handle owns, `boost::bad_weak_ptr`. Where memory is short
/// behind a call's back, what has to be done - reports, stops, destruction - is tried again for about a
/// second; a request that finds none is dropped with an error line.
///
/// Not promised: the libraries install no signal handlers and do not work in the child of a `fork`.
/// A program that is built with UndefinedBehaviorSanitizer needs `-fno-sanitize=vptr`, since the
/// library hides its type information.
#pragma once

#include "system/qz_system.h"

#include <functional>
#include <string>

#if defined(__GNUC__)
#define QZ_AUDIO_API __attribute__((visibility("default")))
#else
#define QZ_AUDIO_API
#endif

/// What a player is doing.
enum qz_audio_status : int {
    qz_audio_status_none = 0,    ///< Nothing open: a new player, or one being destroyed.
    qz_audio_status_opened = 1,  ///< Decoder and output device are open; no track yet.
    qz_audio_status_loaded = 2,  ///< A track is open and the output is set to its format.
    qz_audio_status_playing = 3, ///< The track sounds.
    qz_audio_status_paused = 4,  ///< Held in mid-track; a play goes on from there.
    qz_audio_status_stopped = 5  ///< Stopped; a play starts the output again.
};

class _qz_audio;

/// A handle to a player, passed by value. Handles may be copied to and dropped on any thread.
using qz_audio_ptr = boost::shared_ptr<_qz_audio>;

/// The player behind a handle. Applications use the functions below and never its members, which the
/// library does not export.
class _qz_audio : public _qz_object
{
public:
    _qz_audio();
    ~_qz_audio() override;

    boost::shared_ptr<_qz_object> shared_object() override;
    std::string type_tag() override;
    void destroy(std::string file, int line) override;

    void open();
    void set_audio_track(std::string file_path);
    void play();
    void pause();
    void stop(std::function<void(qz_audio_ptr)> cb);
    void set_volume(int volume);
    bool volume_increment_timeout_start(int target);
    bool volume_decrement_timeout_start(int target);
    bool set_repeat(bool b);

    qz_audio_status get_playback_status();
    std::string get_current_track();
    bool on_status_change(std::function<void(qz_audio_ptr, qz_audio_status)> cb);
    bool on_error(std::function<void(qz_audio_ptr, int)> cb);
    bool on_volume_change(std::function<void(qz_audio_ptr, int)> cb);
    bool set_audio_volume_increment_step(int v);
    bool set_audio_volume_decrement_step(int v);
    bool set_audio_volume_increment_timeout(int t);
    bool set_audio_volume_decrement_timeout(int t);

    /// The player's own thread.
    boost::shared_ptr<_qz_thread_service> thread_service;
    /// The fade's interval; 0 when there is none, or the id of one that has ended.
    unsigned long volume_interval_id = 0;
    /// Counts the entries into the play task, so that a running one detects a newer one.
    unsigned long play_generation = 0;
    /// True once destruction's stop has run: from then on the player's thread leaves the record's handles
    /// and status alone.
    /// Touched on the player's thread only.
    bool closed = false;
};

// ---------------------------------------------------------------------------------------------------
// Life
// ---------------------------------------------------------------------------------------------------

/// Creates a player: status none, volume 100, repeat off, fade steps of 10 points every 500 ms, no
/// track, no callbacks. Nothing is opened yet.
///
/// Runs on the caller's thread, and starts the player's. From a callback: yes. Throws
/// `std::system_error` when the thread cannot be started and `std::bad_alloc`; nothing is left behind
/// then. Next: register callbacks, set a track, and one day call `qz_audio_destroy`. The first player
/// keeps the library in memory for the life of the process, whatever `dlclose` is asked.
QZ_AUDIO_API qz_audio_ptr qz_audio_new();

/// Asks for the end of the player: it stops, releases decoder and output, reports the status none
/// (unless it is none already), clears its callbacks and ends its thread. Requests posted before still
/// run first; later ones are dropped.
///
/// Any thread, callbacks included; posts to the player's thread, goes on on the system service, and
/// returns at once. `file` and `line` name the place of the call, `__FILE__` and `__LINE__`: a second
/// destroy writes a warning line with them and a description of the player, and does nothing else.
/// Empty handle: the warning. Next: drop the handle. One that throws `std::bad_alloc` has done nothing
/// and has to be asked again.
QZ_AUDIO_API void qz_audio_destroy(qz_audio_ptr ptr, std::string file, int line);

// ---------------------------------------------------------------------------------------------------
// Output
// ---------------------------------------------------------------------------------------------------

/// Sets the folder from which libout123 looks for its output modules, for every output that is opened
/// from now on by any player: it tries `../lib/mpg123` and `plugins` below it and then its own default
/// folder. Taken as it is; an empty path leaves the default alone. Outputs that are open keep theirs.
///
/// Any thread, callbacks included; runs on the caller's thread. Default: "./bin/". The environment
/// variable `MPG123_MODDIR`, where it is set, is the one folder that libout123 looks in.
QZ_AUDIO_API void qz_audio_set_bin_path(std::string path);

/// Returns the folder that `qz_audio_set_bin_path` has set, or "./bin/".
///
/// Any thread, callbacks included; runs on the caller's thread.
QZ_AUDIO_API std::string qz_audio_get_bin_path();

/// Creates the decoder and opens the default output device. There is no need to call it: setting a
/// track or playing does so on a player with the status none. Reports the status opened. Players open
/// one after another, since libout123 cannot open two outputs at the same time: an output that hangs
/// while it is opened holds up the opens of all players.
///
/// Any thread, callbacks included; posts to the player's thread. On failure `on_error` is told
/// libmpg123's or libout123's code, or 7, and the status stays. On a player that is open already it
/// writes error lines, opens once more, and the former decoder and output are never released; if that
/// fails, the player is left without either. Do not do that.
/// Empty handle: the warning. Next: `qz_audio_set_audio_track`.
QZ_AUDIO_API void qz_audio_open(qz_audio_ptr ptr);

// ---------------------------------------------------------------------------------------------------
// Playing
// ---------------------------------------------------------------------------------------------------

/// Loads the track at `file_path`, any file that libmpg123 can decode, and leaves the output paused
/// at its start. Opens the player first if its status is none. Ends the playing of another track; the
/// new one waits for `qz_audio_play`. Reports the status loaded.
///
/// Any thread, callbacks included; posts to the player's thread. When the file cannot be opened,
/// `on_error` is told the code and the status stays, but from none and from playing it becomes opened;
/// when it is no audio or the output refuses its format, decoder and output are released, the status
/// becomes none and `on_error` is told (for the output, the player's last code, usually 0). Empty
/// handle: the warning. Next: `qz_audio_play`.
QZ_AUDIO_API void qz_audio_set_audio_track(qz_audio_ptr ptr, std::string file_path);

/// Plays the track from its start, or goes on after a pause. On a player with the status none it first
/// opens the output and loads the current track. Reports the status playing with the first block
/// (from stopped: loaded before it), and stopped at the end of the track.
///
/// Any thread, callbacks included; posts to the player's thread. In opened it does nothing. In playing
/// the status stays playing but decoding halts until a pause, a stop or a new track: do not do that.
/// A decode error is told to `on_error` twice, and then the status becomes stopped; on the very first
/// block the status stays as it was. When the output cannot be started, the status becomes none, then
/// `on_error` is told, and the next play opens everything again. A device that stops working while
/// playing is not reported.
/// Empty handle: the warning. Next: `qz_audio_pause`, `qz_audio_stop`, `qz_audio_destroy`.
QZ_AUDIO_API void qz_audio_play(qz_audio_ptr ptr);

/// Pauses a playing track; a play goes on from there. Reports the status paused. In every other
/// status, and while the player holds an error code, it does nothing.
///
/// Any thread, callbacks included; posts to the player's thread. Empty handle: the warning.
/// Next: `qz_audio_play`.
QZ_AUDIO_API void qz_audio_pause(qz_audio_ptr ptr);

/// Stops a playing track and rewinds it; what the device still buffers is dropped. Stopping a paused
/// track keeps its position: the next play goes on from there. Reports the status stopped. In every
/// other status it changes nothing. Clears an error code that the player holds, if it was playing or
/// paused.
///
/// Any thread, callbacks included; posts to the player's thread. `cb`, if not empty, is called once on
/// the system service, with a handle, after the stop has been done, also when there was nothing to
/// stop; it is never called when the player's thread has ended before (see `qz_audio_destroy`).
/// Empty handle: the warning, and `cb` is not called.
QZ_AUDIO_API void qz_audio_stop(qz_audio_ptr ptr, std::function<void(qz_audio_ptr)> cb);

/// Lets the track start over, without a gap and without a notification, each time it ends (`b` true),
/// or end (`b` false, the default).
///
/// Any thread, callbacks included; posts to the player's thread. Returns true. Empty handle: the
/// warning, and false.
QZ_AUDIO_API bool qz_audio_set_repeat(qz_audio_ptr ptr, bool b);

// ---------------------------------------------------------------------------------------------------
// Volume
// ---------------------------------------------------------------------------------------------------

/// Sets the volume to `volume` percent: 100 is full scale, 0 is silence. The value is not checked:
/// beyond 100 it amplifies and may clip, below 0 it inverts. Reports the volume. A running fade goes on
/// from there.
///
/// Any thread, callbacks included; posts to the player's thread. Dropped without a report while the
/// player holds an error code (see "Errors" above). When the decoder refuses, `on_error` is told its
/// code and the volume stays. Empty handle: the warning.
QZ_AUDIO_API void qz_audio_set_volume(qz_audio_ptr ptr, int volume);

/// Fades the volume up to `target` percent (above 100 counts as 100): every increment timeout the
/// volume rises by the increment step, and each new value is reported. Replaces a running fade of
/// either direction. `qz_audio_destroy`, an error, another fade or a volume set to the target or beyond
/// ends it early; pause, stop and a new track do not.
///
/// Any thread, callbacks included; posts to the player's thread. Returns true; false, and nothing is
/// done, for a target of 0 or less. Dropped without a report when the volume is above the target or
/// the player holds an error code. Works while nothing plays. Empty handle: the warning, and false.
QZ_AUDIO_API bool qz_audio_volume_increment_timeout_start(qz_audio_ptr ptr, int target);

/// Fades the volume down to `target` percent (held to 0 to 100): every decrement timeout the volume
/// falls by the decrement step, and each new value is reported. Replaces a running fade of either
/// direction. `qz_audio_destroy`, an error, another fade or a volume set to the target or below ends it
/// early; pause, stop and a new track do not.
///
/// Any thread, callbacks included; posts to the player's thread. Returns true. Dropped without a
/// report when the volume is at or below the target or the player holds an error code. Works while
/// nothing plays. Empty handle: the warning, and false.
QZ_AUDIO_API bool qz_audio_volume_decrement_timeout_start(qz_audio_ptr ptr, int target);

/// Sets how many percentage points a fade up adds at a time (default 10). Applies from the next fade
/// on. Not checked: 0 makes a fade that never ends, a negative step moves the wrong way.
///
/// Any thread, callbacks included; runs on the caller's thread. Returns true. Empty handle: the
/// warning, and false.
QZ_AUDIO_API bool qz_audio_set_audio_volume_increment_step(qz_audio_ptr ptr, int v);

/// Sets how many percentage points a fade down removes at a time (default 10). Applies from the next
/// fade on. Not checked: 0 makes a fade that never ends, a negative step moves the wrong way.
///
/// Any thread, callbacks included; runs on the caller's thread. Returns true. Empty handle: the
/// warning, and false.
QZ_AUDIO_API bool qz_audio_set_audio_volume_decrement_step(qz_audio_ptr ptr, int v);

/// Sets the milliseconds between two steps of a fade up (default 500). Applies from the next fade on.
/// Not checked: 0 counts as 1, a negative timeout never comes. While a track plays, a step comes at
/// most once per decoded block (26 ms at 44.1 kHz, 72 ms at 8 kHz) and is not caught up on, so that a
/// timeout below that makes the fade last longer than its steps times the timeout. Small steps every
/// 30 ms or so sound smooth.
///
/// Any thread, callbacks included; runs on the caller's thread. Returns true. Empty handle: the
/// warning, and false.
QZ_AUDIO_API bool qz_audio_set_audio_volume_increment_timeout(qz_audio_ptr ptr, int t);

/// Sets the milliseconds between two steps of a fade down (default 500). Applies from the next fade on.
/// Not checked, and held up by playing, like `qz_audio_set_audio_volume_increment_timeout`.
///
/// Any thread, callbacks included; runs on the caller's thread. Returns true. Empty handle: the
/// warning, and false.
QZ_AUDIO_API bool qz_audio_set_audio_volume_decrement_timeout(qz_audio_ptr ptr, int t);

// ---------------------------------------------------------------------------------------------------
// Queries
// ---------------------------------------------------------------------------------------------------

/// Returns the status that was notified last. Requests that still wait have not changed it yet.
///
/// Any thread, callbacks included; runs on the caller's thread. Empty handle: the warning, and
/// `qz_audio_status_none`.
QZ_AUDIO_API qz_audio_status qz_audio_get_playback_status(qz_audio_ptr ptr);

/// Returns the path of the track that was set last, whether it could be loaded or not; "" when none
/// was. A request that still waits has not set it yet.
///
/// Any thread, callbacks included; runs on the caller's thread. Empty handle: the warning, and "".
QZ_AUDIO_API std::string qz_audio_get_current_track(qz_audio_ptr ptr);

/// Stores `last_error` as the player's error text and leaves `last_error` as it was: the text that the
/// library keeps is not handed out. Use the code that `on_error` is told, with `mpg123_plain_strerror`
/// or `out123_plain_strerror`; see "Errors" above for which.
///
/// Any thread, callbacks included; runs on the caller's thread. Returns true. Empty handle: the
/// warning, and false.
QZ_AUDIO_API bool qz_audio_get_last_error_string(qz_audio_ptr ptr, std::string& last_error);

// ---------------------------------------------------------------------------------------------------
// Callbacks: one function per event. An empty one clears it. They run on the system service; a call
// that was posted before a change still runs once with the function it was posted with.
// ---------------------------------------------------------------------------------------------------

/// Registers `cb`, which is told each new status of the player, in order. A status that is set again
/// is told again.
///
/// Any thread, callbacks included; runs on the caller's thread, `cb` on the system service. Returns
/// true. Empty handle: the warning, and false.
QZ_AUDIO_API bool qz_audio_on_status_change(qz_audio_ptr ptr,
                                            std::function<void(qz_audio_ptr, qz_audio_status)> cb);

/// Registers `cb`, which is told the raw code of each failure; see "Errors" above.
///
/// Any thread, callbacks included; runs on the caller's thread, `cb` on the system service. Returns
/// true. Empty handle: the warning, and false.
QZ_AUDIO_API bool qz_audio_on_error(qz_audio_ptr ptr, std::function<void(qz_audio_ptr, int)> cb);

/// Registers `cb`, which is told each volume that was applied, in percent: by `qz_audio_set_volume`
/// and by each step of a fade.
///
/// Any thread, callbacks included; runs on the caller's thread, `cb` on the system service. Returns
/// true. Empty handle: the warning, and false.
QZ_AUDIO_API bool qz_audio_on_volume_change(qz_audio_ptr ptr,
                                            std::function<void(qz_audio_ptr, int)> cb);
