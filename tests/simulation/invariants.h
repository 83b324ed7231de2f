/// \file
/// \brief What must hold in every simulation. Each invariant is one function of `invariants.cpp`; here
/// are the moments at which they are asked.
#pragma once

#include "players.h"
#include "sound_handle.h"

#include <pthread.h>

#include <cstdint>
#include <optional>
#include <string>

namespace simulation
{

void check_after_step();

void check_lock_order(const thread& self, const pthread_mutex_t& wanted);
void check_unlock(const thread& self, const pthread_mutex_t& mutex);

/// A property operation, a state check or its report: `qz_assertion_faild`.
void check_report(thread& self, bool condition, const std::string& expression,
                  const std::string& message);
void check_property_read(const thread& self, const property_list& list);

/// A task or a tick of a player's own thread begins, or has run.
void check_task_begins(player& of, operation request);
void check_task_ended(player& of, bool outermost);
void check_exception(const thread& self, const std::string& what);

/// A query has given `result`; `from` is where the player's statuses stood when it began.
void check_status_query(const player& of, std::size_t from, qz_audio_status result);

/// Between its blocks the play task asks for another task; `ran` is whether there was one.
void check_block_read(player& of);
void check_decoded(player& of, int result);
void check_service(player& of, bool ran);

/// A task for `request` is posted to a thread, or the posting has returned.
void note_posting(const thread& worker, operation request);
void note_posted(const thread& worker, operation request);

/// The player's thread looks at `now`, in a wait at the end of a track, and sleeps until `next`.
void check_look(player& of, milliseconds now, milliseconds next);

/// A thread calls a function of a sound library.
void check_library_call(const thread& self);

/// A player's thread drops what its output has not played: so much sound, on a device that keeps real time.
void check_dropped(const player& of, milliseconds unplayed);

/// A player has so many intervals.
void check_intervals(const thread& own_thread, std::size_t count);

/// A thread opens an output, while so many others do.
void check_opening(const thread& self, unsigned others);

/// A function of a sound library is called with a handle that is not null.
void check_handle_exists(bool exists, const char* function);
void check_handle_use(const thread& self, const sound_handle& handle, const char* function);

/// At the end.
void check_handle_closed(const sound_handle& handle);

/// A block is read from a decoder with so much volume, if that is known, into so much memory.
void check_decoder_volume(const player& of, const std::optional<double>& volume);
void check_block_memory(std::size_t available, std::size_t wanted);

void check_seek(bool has_decoder);

/// The application or a fade changes the decoder's volume.
void check_volume_change(const player& of);

/// So many bytes are played on an output, or it is stopped with so many in it.
void check_played(bool started, std::size_t bytes);
void check_output_stopped(std::size_t buffered);

/// A task is handed to the system service.
void check_post(thread& self);

/// A callback is called.
void check_callback(const report& told);
void check_stop_callback(stop_request& request);

void check_service_stop(player& of);

/// An object is being destroyed, with nothing left of it but the platform's part.
void check_object_ends(_qz_object& object);

/// All threads have ended.
void check_end();

/// All is over, and so many allocations are left.
void check_memory(long left);

void check_step_count(std::uint64_t steps);

/// No thread can go on, and no time will come at which one can.
[[noreturn]] void report_deadlock(const std::string& waiting);

} // namespace simulation
