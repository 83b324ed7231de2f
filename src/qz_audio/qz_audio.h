/// \file
/// \brief The audio player: plays MPEG audio files on the default sound device.
///
/// It decodes what libmpg123 decodes: MPEG 1.0, 2.0 and 2.5 audio, layers I, II and III, MP3 above
/// all. It does not seek, reports no position and no duration, does not choose a device and plays
/// no other formats.
///
/// \code
/// qz_audio_ptr player = qz_audio_new();
/// qz_audio_on_status_change(player, [](qz_audio_ptr, qz_audio_status status) { /* ... */ });
/// qz_audio_set_audio_track(player, "song.mp3");
/// qz_audio_play(player);                        // returns at once
/// // ... later ...
/// qz_audio_destroy(player, __FILE__, __LINE__); // required: dropping the handle is not enough
/// \endcode
///
/// Threads
/// -------
/// - **Your threads** call the functions: any function, from any thread, at any time. No call waits
///   for sound, for a file or for a callback. A call may wait for a lock that is held briefly, and
///   one that prints a warning line waits while standard output is a full pipe.
/// - **The player's thread** opens the output, decodes, plays and steps the fades; each player has
///   one, named "audio". It serves requests in the order in which they were posted; while a track
///   plays, between two decoded blocks.
/// - **The system service** is one thread of the process. It runs every callback, one at a time,
///   and the later steps of each player's destruction. A callback that blocks holds up all of
///   these.
///
/// Requests queue in memory, about 75 bytes each, without a limit. Do not post requests faster than
/// the player serves them: on a 2-core x86-64 machine about 500,000 volume changes a second while a
/// track plays, and 1,500,000 while none does. A playing track is not decoded while requests wait.
///
/// Callbacks
/// ---------
/// A callback runs with no lock held. It may call every function here, on every player,
/// `qz_audio_destroy` included; `qz_audio_get_playback_status` returns the status that it reports
/// or a later one. It may keep its handle, which keeps the player alive. It has 8 MiB of stack. If
/// it throws, one error line is printed on standard output, and nothing else happens.
///
/// The library copies registered functions on its own threads while it holds the player's lock. Let
/// them capture shared pointers, so that no copy constructor of yours calls a function here or
/// throws. What a replaced function captured is destroyed without the lock.
///
/// Ownership and destruction
/// -------------------------
/// You hold handles (`qz_audio_ptr`). The registry of `libqz_system` holds one from `qz_audio_new`
/// to the last step of the destruction, and each posted request and callback holds one. So a player
/// that is never destroyed stays alive, and if its track repeats, it plays on. `qz_audio_destroy`
/// returns at once; the player then stops, releases its decoder and its output, reports
/// `qz_audio_status_none`, clears its callbacks and ends its thread. The object is freed with the
/// last handle. Requests to a destroyed player are dropped. Callbacks that were posted before the
/// end still run.
///
/// A function that gets an empty handle prints one warning line on standard output, does nothing
/// else and returns a neutral result, which its comment names.
///
/// What each request does, by status
/// ---------------------------------
/// A cell gives the new statuses, which are reported in this order; "-" means that nothing happens
/// and nothing is reported, and "see there" refers to the function of the request.
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
/// A playing track becomes stopped by itself when its sound is over, unless it repeats, and after a
/// decode error. A failed open, set track or play is reported to `on_error`; the comment of each
/// function says what the status is then. `qz_audio_destroy` reports stopped (from playing and
/// paused), then none (from all but none).
///
/// Errors
/// ------
/// `on_error` gets a raw code: of libmpg123 (`mpg123_errors`), of libout123 (`out123_error`), or 7.
/// The codes overlap, so that the code alone does not say whose it is:
///
/// | what fails                                   | code                                            |
/// |----------------------------------------------|-------------------------------------------------|
/// | open: no decoder can be made                 | libmpg123's                                     |
/// | open: no output handle can be made           | 7                                               |
/// | open: the device cannot be opened            | libout123's                                     |
/// | set track: the file or its format            | libmpg123's                                     |
/// | set track: the output cannot be started      | the code that the player held before, usually 0 |
/// | play: the output cannot be started           | libout123's                                     |
/// | decoding                                     | libmpg123's, usually -1                         |
/// | volume                                       | libmpg123's                                     |
///
/// A set track or a play opens the player first if its status is none, and may fail as an open
/// does.
///
/// The player holds the last code. While it is not 0, volume changes and pauses are dropped, and a
/// fade ends. It becomes 0 when a play decodes a block, when an open succeeds (also inside a first
/// set track or play), and when a playing or paused track is stopped. A good track on an open
/// player does not clear it. From the last read of a track until its end is handled, the player
/// holds the code `MPG123_DONE`.
///
/// The exceptions that can reach a caller are `std::bad_alloc`, `std::system_error` (a thread
/// cannot be started, or a mutex cannot be locked) and, for an object that no handle owns,
/// `boost::bad_weak_ptr`. If memory runs out after a call has returned, reports, stops and
/// destruction are retried for about a second, and any other request is dropped with an error line.
///
/// The libraries install no signal handlers and do not work in the child of a `fork`. A program
/// that is built with UndefinedBehaviorSanitizer needs `-fno-sanitize=vptr`, since the library
/// hides its type information.
#pragma once

#include "system/qz_system.h"

#include <atomic>
#include <functional>
#include <string>

#if defined(__GNUC__)
#define QZ_AUDIO_API __attribute__((visibility("default")))
#else
#define QZ_AUDIO_API
#endif

/// What a player is doing.
enum qz_audio_status : int {
    qz_audio_status_none = 0,    ///< Nothing is open: new, destroyed, or after a failure.
    qz_audio_status_opened = 1,  ///< Decoder and output device are open, without a track.
    qz_audio_status_loaded = 2,  ///< A track is open and the output is set to its format.
    qz_audio_status_playing = 3, ///< The track plays, or the device still plays its end.
    qz_audio_status_paused = 4,  ///< Paused in mid-track; a play goes on from there.
    qz_audio_status_stopped = 5  ///< Ended or stopped; a play starts the output again.
};

class _qz_audio;

/// A handle to a player, passed by value. Handles may be copied and dropped on any thread.
using qz_audio_ptr = boost::shared_ptr<_qz_audio>;

/// The player behind a handle. Applications use the functions below and never its members, which
/// the library does not export.
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
    /// Counts the runs of the play task, so that one detects that a newer one was nested in it.
    unsigned long play_generation = 0;
    /// True once the stop of a destroy has run: from then on the player's thread leaves the
    /// record's handles and status alone. Used on the player's thread only.
    bool closed = false;
    /// Stops, new tracks and destroys that were posted and have not run yet. They end the wait at a
    /// track's end.
    std::atomic<int> pending_halts{0};
};

// ---------------------------------------------------------------------------------------------------
// Creation and destruction
// ---------------------------------------------------------------------------------------------------

/// Creates a player.
///
/// It has the status none, volume 100, repeat off, fade steps of 10 points every 500 ms, no track
/// and no callbacks. Nothing is open yet. Throws `std::system_error` when a thread cannot be
/// started, and `std::bad_alloc`; the system service may be running then, and nothing else has
/// changed. The first player keeps the library in memory until the process ends, even after a
/// `dlclose`.
///
/// \return The player; never empty. It lives until `qz_audio_destroy`, even without a handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread and starts the player's.
/// \see qz_audio_on_status_change, qz_audio_set_audio_track, qz_audio_destroy
QZ_AUDIO_API qz_audio_ptr qz_audio_new();

/// Ends a player.
///
/// The player stops, releases its decoder and its output, reports the status none unless it is none
/// already, clears its callbacks and ends its thread. Requests that were posted before run first;
/// later ones are dropped. A second destroy prints a warning line with `file` and `line` and a line
/// that describes the player, and does nothing else. A destroy that throws `std::bad_alloc` has
/// done nothing; call it again.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param file The place of the call, `__FILE__`.
/// \param line The place of the call, `__LINE__`.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread, then on the system service.
/// \see qz_audio_new, qz_audio_stop
QZ_AUDIO_API void qz_audio_destroy(qz_audio_ptr ptr, std::string file, int line);

// ---------------------------------------------------------------------------------------------------
// Output
// ---------------------------------------------------------------------------------------------------

/// Sets where libout123 looks for its output modules.
///
/// Applies to every output that a player opens from now on; outputs that are open keep theirs.
/// libout123 takes one folder: the first that exists of `../lib/mpg123`, `plugins`,
/// `libout123/modules/.libs`, `libout123/modules`, `../libout123/modules/.libs` and
/// `../libout123/modules`, all relative to `path`, or else its own default. It looks for modules in
/// no other folder. The environment variable `MPG123_MODDIR`, if set, names the folder instead.
///
/// \param path A folder, not checked; a relative one counts from the working folder at the time of
///   the open. Empty: libout123's default. Until the first call it is "./bin/".
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_get_bin_path, qz_audio_open
QZ_AUDIO_API void qz_audio_set_bin_path(std::string path);

/// Gets the folder that `qz_audio_set_bin_path` has set.
///
/// \return The folder as it was set, or "./bin/" if none was.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_set_bin_path
QZ_AUDIO_API std::string qz_audio_get_bin_path();

/// Creates the decoder and opens the default output device.
///
/// Reports the status opened. There is no need to call it: a set track or a play opens a player
/// whose status is none. Players open one after another, since libout123 cannot open two outputs at
/// the same time: an output that hangs while it is opened holds up the opens of all players.
///
/// If it fails, `on_error` is called and the status stays.
///
/// Do not open a player that is open: it prints error lines, opens once more and leaks the former
/// decoder and output. If that fails, the player has neither.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_set_audio_track, qz_audio_on_error
QZ_AUDIO_API void qz_audio_open(qz_audio_ptr ptr);

// ---------------------------------------------------------------------------------------------------
// Playing
// ---------------------------------------------------------------------------------------------------

/// Loads a track.
///
/// Leaves the output paused at the track's start and reports the status loaded. Opens the player
/// first if its status is none. A track that plays ends; the new one waits for a `qz_audio_play`.
///
/// If the file cannot be opened, `on_error` is called, the statuses none and playing become opened,
/// and any other stays. The former track is closed: in loaded, paused and stopped a play then fails
/// with a decode error. If the file is no MPEG audio or the output refuses its format, decoder and
/// output are released, the status becomes none, and `on_error` is called; twice for a file without
/// audio while another track plays.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param file_path Any file that libmpg123 can decode; a relative path counts from the working
///   folder at the time when the request is served.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_play, qz_audio_get_current_track, qz_audio_on_error
QZ_AUDIO_API void qz_audio_set_audio_track(qz_audio_ptr ptr, std::string file_path);

/// Plays the track.
///
/// Plays from the track's start; after a pause, and after a stop of a paused track, from where it
/// was. On a player with the status none it first opens the output and loads the current track.
/// Reports the status playing with the first block; a stopped player reports loaded before it. In
/// the status opened it does nothing.
///
/// At the end of a track that does not repeat, the player's thread waits until the device has
/// played what it buffers, and only then reports stopped. It waits at most 2.5 s after the last
/// block was written. It does not wait for outputs that are faster than real time, such as files,
/// except after a track shorter than 0.6 s, for its own length, and seldom after one shorter than
/// 2.5 s. A stop, a new track or a destroy ends the wait early. No other request and no fade step
/// runs during the wait. Requests posted meanwhile are served after it, by the rules for a stopped
/// player: a volume change applies, a pause does nothing, a play starts the track again from its
/// start.
///
/// Outputs start to sound only when enough is written, so very short tracks stay silent: on ALSA
/// tracks shorter than 0.1 s, on PulseAudio tracks up to 0.125 s (half of its latency; with
/// `PULSE_LATENCY_MSEC=2000` up to 1.0 s). `PULSE_LATENCY_MSEC=100` lowers that to 0.05 s. On a
/// device that buffers more than 0.6 s, such as PipeWire with `PULSE_LATENCY_MSEC=2000`, tracks
/// that are longer than 0.6 s and fit into its buffer are cut. PipeWire drops up to 0.02 s of each
/// track's end.
///
/// Do not play a track that plays: the status stays playing, but decoding halts until a pause, a
/// stop or a new track.
///
/// A decode error is reported to `on_error` twice, and then the status becomes stopped. One on the
/// first block leaves the status as it is: paused after a pause, else loaded. If the decoder
/// refused the format of a later part of the track, the next play opens the track again; if that
/// fails, `on_error` is called and the status stays. If the output cannot be started, the status
/// becomes none, then `on_error` is called, and the next play opens everything again. A device that
/// stops working while it plays is not reported.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_set_audio_track, qz_audio_pause, qz_audio_stop, qz_audio_set_repeat
QZ_AUDIO_API void qz_audio_play(qz_audio_ptr ptr);

/// Pauses the playing track.
///
/// Reports the status paused; a play goes on from there. In every other status, and while the
/// player holds an error code, it does nothing. It has no effect during the wait at a track's end
/// (see `qz_audio_play`).
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_play, qz_audio_stop
QZ_AUDIO_API void qz_audio_pause(qz_audio_ptr ptr);

/// Stops the playing or paused track.
///
/// Reports the status stopped and clears an error code that the player holds. A playing track is
/// rewound, and what the device still buffers is dropped. A paused track keeps its position, and
/// the next play goes on from there, unless the player holds an error code: then it is rewound,
/// too. In every other status only `cb` is called.
///
/// \param ptr The player. Empty: one warning line, and `cb` is not called.
/// \param cb Called once on the system service, after the stop, also when there was nothing to
///   stop; may be empty. It is not called when the player's thread ends before it serves the stop
///   (see `qz_audio_destroy`).
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_play, qz_audio_pause, qz_audio_destroy
QZ_AUDIO_API void qz_audio_stop(qz_audio_ptr ptr, std::function<void(qz_audio_ptr)> cb);

/// Sets whether the track repeats.
///
/// A track that repeats starts over at its end, without a gap and without a report. The setting
/// holds for all later tracks, too. During the wait at a track's end (see `qz_audio_play`) it
/// comes too late for that track.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param b True to repeat, false (the default) to end.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_play
QZ_AUDIO_API bool qz_audio_set_repeat(qz_audio_ptr ptr, bool b);

// ---------------------------------------------------------------------------------------------------
// Volume
// ---------------------------------------------------------------------------------------------------

/// Sets the volume.
///
/// Reports the volume. A running fade goes on from there. Before the player is open, it is stored
/// and applied by the next play. It is dropped without a report while the player holds an error
/// code. If the decoder refuses it, `on_error` is called and the volume stays.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param volume In percent, 100 being full scale; not checked. 0 and negative values give silence.
///   More than 100 amplifies and clips: 250 makes samples 2.5 times as large. More than about
///   6,500,000 may give noise instead of the clipped track.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_on_volume_change, qz_audio_volume_increment_timeout_start
QZ_AUDIO_API void qz_audio_set_volume(qz_audio_ptr ptr, int volume);

/// Fades the volume up.
///
/// Every increment timeout the volume rises by the increment step, up to the target, and each new
/// value is reported. It works in every status; while nothing plays, the decoder gets the
/// volume with the next play.
///
/// A fade replaces a running one of either direction. A destroy, an error, another fade or a volume
/// set to the target or above ends it early; a pause, a stop and a new track do not. The request is
/// dropped without a report when the volume is above the target or the player holds an error code.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param target In percent. Above 100 counts as 100. 0 or less: nothing is done, and the result is
///   false.
/// \return True; false for a target of 0 or less and for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_volume_decrement_timeout_start, qz_audio_set_audio_volume_increment_step,
///   qz_audio_set_audio_volume_increment_timeout
QZ_AUDIO_API bool qz_audio_volume_increment_timeout_start(qz_audio_ptr ptr, int target);

/// Fades the volume down.
///
/// Every decrement timeout the volume falls by the decrement step, down to the target, and each new
/// value is reported. It works in every status.
///
/// A fade replaces a running one of either direction. A destroy, an error, another fade or a volume
/// set to the target or below ends it early; a pause, a stop and a new track do not. The request is
/// dropped without a report, and a running fade goes on, when the volume is at or below the target
/// or the player holds an error code.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param target In percent. Below 0 counts as 0, above 100 as 100.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the player's thread.
/// \see qz_audio_volume_increment_timeout_start, qz_audio_set_audio_volume_decrement_step,
///   qz_audio_set_audio_volume_decrement_timeout
QZ_AUDIO_API bool qz_audio_volume_decrement_timeout_start(qz_audio_ptr ptr, int target);

/// Sets the step of fades up.
///
/// Applies to fades that start from now on.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param v Percentage points per step, by default 10; not checked. 0 makes a fade that reports the
///   same volume again and again and does not end by itself. A negative step moves down, without an
///   end.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_volume_increment_timeout_start, qz_audio_set_audio_volume_increment_timeout
QZ_AUDIO_API bool qz_audio_set_audio_volume_increment_step(qz_audio_ptr ptr, int v);

/// Sets the step of fades down.
///
/// Applies to fades that start from now on.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param v Percentage points per step, by default 10; not checked. 0 makes a fade that reports the
///   same volume again and again and does not end by itself. A negative step moves up, without an
///   end.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_volume_decrement_timeout_start, qz_audio_set_audio_volume_decrement_timeout
QZ_AUDIO_API bool qz_audio_set_audio_volume_decrement_step(qz_audio_ptr ptr, int v);

/// Sets the time between two steps of fades up.
///
/// Applies to fades that start from now on. While a track plays, a step comes about once per
/// decoded block at most (26 ms for MP3 at 44.1 kHz, 72 ms at 8 kHz) and late steps are not caught
/// up: with a shorter timeout the fade takes longer than its steps times the timeout.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param t Milliseconds, by default 500; not checked. 0 counts as 1. With a negative timeout no
///   step comes.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_volume_increment_timeout_start, qz_audio_set_audio_volume_increment_step
QZ_AUDIO_API bool qz_audio_set_audio_volume_increment_timeout(qz_audio_ptr ptr, int t);

/// Sets the time between two steps of fades down.
///
/// Applies to fades that start from now on. While a track plays, a step comes about once per
/// decoded block at most (26 ms for MP3 at 44.1 kHz, 72 ms at 8 kHz) and late steps are not caught
/// up: with a shorter timeout the fade takes longer than its steps times the timeout.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param t Milliseconds, by default 500; not checked. 0 counts as 1. With a negative timeout no
///   step comes.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_volume_decrement_timeout_start, qz_audio_set_audio_volume_decrement_step
QZ_AUDIO_API bool qz_audio_set_audio_volume_decrement_timeout(qz_audio_ptr ptr, int t);

// ---------------------------------------------------------------------------------------------------
// Queries
// ---------------------------------------------------------------------------------------------------

/// Gets the status that was reported last.
///
/// Pending requests have not changed it yet.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \return The status; `qz_audio_status_none` for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_on_status_change
QZ_AUDIO_API qz_audio_status qz_audio_get_playback_status(qz_audio_ptr ptr);

/// Gets the path of the track that was set last.
///
/// It does not matter whether the track could be loaded. A pending request has not set it yet.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \return The path as it was given; "" if none was, and for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_set_audio_track
QZ_AUDIO_API std::string qz_audio_get_current_track(qz_audio_ptr ptr);

/// Stores a text as the player's error text, and does not read one.
///
/// The text that the library keeps is not returned. Use the code that `on_error` gets, with
/// `mpg123_plain_strerror` or `out123_plain_strerror`: "Errors" in the overview says which.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param last_error The text to store; it is not changed.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread.
/// \see qz_audio_on_error
QZ_AUDIO_API bool qz_audio_get_last_error_string(qz_audio_ptr ptr, std::string& last_error);

// ---------------------------------------------------------------------------------------------------
// Callbacks: one function per event.
// ---------------------------------------------------------------------------------------------------

/// Registers the callback for statuses.
///
/// It replaces the former one. Calls that are posted already still run the former function.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param cb Called with a handle to the player and each new status, in order, also when it is the
///   same as before. Empty: no callback.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread, `cb` on the system service.
/// \see qz_audio_get_playback_status, qz_audio_on_error, qz_audio_on_volume_change
QZ_AUDIO_API bool qz_audio_on_status_change(qz_audio_ptr ptr,
                                            std::function<void(qz_audio_ptr, qz_audio_status)> cb);

/// Registers the callback for errors.
///
/// It replaces the former one. Calls that are posted already still run the former function.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param cb Called with a handle to the player and the raw code of each failure; "Errors" in the
///   overview says whose it is. The code may be 0. Empty: no callback.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread, `cb` on the system service.
/// \see qz_audio_on_status_change, qz_audio_on_volume_change
QZ_AUDIO_API bool qz_audio_on_error(qz_audio_ptr ptr, std::function<void(qz_audio_ptr, int)> cb);

/// Registers the callback for volumes.
///
/// It replaces the former one. Calls that are posted already still run the former function.
///
/// \param ptr The player. Empty: one warning line, nothing else.
/// \param cb Called with a handle to the player and each volume in percent that
///   `qz_audio_set_volume` or a step of a fade has applied. Empty: no callback.
/// \return True; false for an empty handle.
/// \par Threads
/// Any thread, callbacks included. Runs on the caller's thread, `cb` on the system service.
/// \see qz_audio_set_volume, qz_audio_on_status_change, qz_audio_on_error
QZ_AUDIO_API bool qz_audio_on_volume_change(qz_audio_ptr ptr,
                                            std::function<void(qz_audio_ptr, int)> cb);
