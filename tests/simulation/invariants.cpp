#include "invariants.h"

#include "callbacks.h"
#include "failure.h"
#include "moods.h"
#include "mutexes.h"
#include "platform.h"
#include "scheduler.h"
#include "sound.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace simulation
{

namespace
{

std::string name_of(const player& of)
{
    return "player " + std::to_string(of.number);
}

std::string name_of(qz_audio_status status)
{
    static constexpr const char* names[] = {"none",    "opened", "loaded",
                                            "playing", "paused", "stopped"};
    return names[status];
}

bool starts_with(const std::string& text, std::string_view start)
{
    return text.compare(0, start.size(), start) == 0;
}

/// Whether nobody is working on the player's record: neither its thread nor a step of destruction.
bool is_at_rest(const player& of)
{
    return of.own_thread->jobs.empty() && of.object->closed == of.taken_down && !of.ends();
}

// Status

void status_agrees_with_record(const player& of)
{
    if (of.record->status != of.told_status()) {
        fail("record and status property agree between steps",
             name_of(of) + ": " + name_of(of.record->status) + " in the record, " +
                 name_of(of.told_status()) + " told");
    }
}

bool is_legal(operation request, qz_audio_status from, qz_audio_status to)
{
    constexpr auto none = qz_audio_status_none;
    constexpr auto opened = qz_audio_status_opened;
    constexpr auto loaded = qz_audio_status_loaded;
    constexpr auto playing = qz_audio_status_playing;
    constexpr auto paused = qz_audio_status_paused;
    constexpr auto stopped = qz_audio_status_stopped;
    switch (request) {
    case operation::open:
        return to == opened;
    case operation::set_track:
        return (from == none && to == opened) || (from == playing && to == opened) ||
               (from != none && (to == loaded || to == none));
    case operation::play:
        return (from == none && to == opened) || (from == opened && to == loaded) ||
               (from == stopped && to == loaded) || (from == loaded && to == playing) ||
               (from == paused && to == playing) || (from == playing && to == stopped) ||
               (to == none && (from == opened || from == loaded || from == stopped));
    case operation::pause:
        return from == playing && to == paused;
    case operation::stop:
        return (from == playing || from == paused) && to == stopped;
    case operation::destroy:
        return ((from == playing || from == paused) && to == stopped) ||
               (from != none && to == none);
    default:
        return false;
    }
}

void repeating_track_goes_on(const player& of, operation request)
{
    if (request == operation::play && of.told_status() == qz_audio_status_stopped &&
        of.last_decode == MPG123_DONE && of.record->repeat) {
        fail("a repeating track goes on at its end", name_of(of));
    }
}

void other_track_ends(const player& of)
{
    if (of.last_decode == MPG123_DONE && !of.record->repeat) {
        fail("a track that does not repeat ends at its end", name_of(of));
    }
}

void status_change_is_legal(player& of, operation request)
{
    const qz_audio_status from = of.statuses.back();
    const qz_audio_status to = of.told_status();
    if (!is_legal(request, from, to)) {
        fail("each status report is a legal transition", name_of(of) + ": from " + name_of(from) +
                                                             " to " + name_of(to) + " by " +
                                                             name_of(request));
    }
    of.statuses.push_back(to);
    of.halted = of.halted && to == qz_audio_status_playing;
}

void query_tells_a_status_of_its_time(const player& of, std::size_t from, qz_audio_status result)
{
    const auto begin = of.statuses.begin() + static_cast<std::ptrdiff_t>(from);
    if (std::find(begin, of.statuses.end(), result) == of.statuses.end()) {
        fail("a status query tells a status of its time", name_of(of) + ": " + name_of(result));
    }
}

void has_no_handles_in_none(const player& of)
{
    const _audio_data& record = *of.record;
    if (record.status == qz_audio_status_none && (record.mh != nullptr || record.ao != nullptr)) {
        fail("a player in none holds no decoder and no output", name_of(of));
    }
}

void ends_in_none(const player& of)
{
    if (of.destroys != 0 && of.told_status() != qz_audio_status_none) {
        fail("a destroyed player ends in none",
             name_of(of) + " ends in " + name_of(of.told_status()));
    }
}

void keeps_decoding(const player& of)
{
    if (of.record->status == qz_audio_status_playing && !of.halted) {
        fail("a playing player keeps decoding", name_of(of) + " plays and nobody decodes");
    }
}

void decodes_when_nothing_waits(const player& of)
{
    if (of.idle_services > 1) {
        fail("a playing player keeps decoding",
             name_of(of) + " looks for tasks again without a block in between");
    }
}

void play_has_decoded(const player& of)
{
    if (of.owes_block) {
        fail("a play decodes, unless the player is opened or plays, or an error is told",
             name_of(of));
    }
}

void decodes_nothing_while_halted(const player& of)
{
    if (of.halted) {
        fail("a player that a second play has halted decodes nothing", name_of(of));
    }
}

void serves_between_blocks(const player& of)
{
    if (of.unserved_blocks > 1) {
        fail("tasks are served between two blocks", name_of(of));
    }
}

void play_task_has_left(const player& of)
{
    if (of.record->in_play) {
        fail("the play task is told to run only while it runs", name_of(of));
    }
}

// The wait at the end of a track

bool is_halt(operation request)
{
    return request == operation::stop || request == operation::set_track ||
           request == operation::destroy;
}

void request_ends_the_wait(const player& of)
{
    constexpr unsigned most_looks = 2;
    if (of.looks_after_halt > most_looks) {
        fail("a stop, a track and a destroy end the wait at the end of a track", name_of(of));
    }
}

void wait_is_short(const player& of, milliseconds end)
{
    constexpr milliseconds longest = 2500 + 5;
    if (end - *of.first_look > longest) {
        fail("no wait at the end of a track is longer than 2.5 s",
             name_of(of) + ": " + std::to_string(end - *of.first_look) + " ms");
    }
}

void nothing_runs_in_the_wait(const player& of)
{
    if (of.wait_ended) {
        fail("no task, tick or call of a sound library interrupts the wait at the end of a track",
             name_of(of));
    }
}

void end_is_heard(const player& of, milliseconds unplayed)
{
    // A device that buffers more looks like a file until it is full.
    const bool may_be_a_file = neighbours().buffer() > 600;
    if (unplayed != 0 && of.own_thread->jobs.back() == operation::play &&
        of.last_decode == MPG123_DONE && of.waiting_halts == 0 && !may_be_a_file) {
        fail("the end of a track is heard, unless a request halts it",
             name_of(of) + ": not the last " + std::to_string(unplayed) + " ms");
    }
}

// Volume

void every_volume_is_reported(const player& of)
{
    if (of.record->volume != of.told_volume()) {
        fail("a volume report follows every applied change",
             name_of(of) + ": " + std::to_string(of.record->volume) + " in the record, " +
                 std::to_string(of.told_volume()) + " told");
    }
}

void applied_volume_was_told(const player& of)
{
    if (of.owes_volume) {
        fail("a volume report follows every applied change",
             name_of(of) + ": the decoder has one that was not told");
    }
}

void one_fade_at_most(const thread& own_thread, std::size_t count)
{
    if (count > 1) {
        fail("a player has one fade at most",
             own_thread.name + " has " + std::to_string(count) + " intervals");
    }
}

void no_volume_is_set_in_an_error(const player& of)
{
    if (of.record->error != 0) {
        fail("no volume is set while an error is held", name_of(of));
    }
}

// Errors

void failure_is_reported(const player& of)
{
    if (of.owes_error != nullptr && !of.object->closed) {
        fail("no failure goes unreported", name_of(of) + ": " + of.owes_error + " has failed");
    }
}

void checks_hold(bool condition, const std::string& expression, const std::string& message)
{
    const bool by_second_open = message == "adata->mh must be nulll" ||
                                message == "adata->ao must be nulll" ||
                                message == "status must be 'none'";
    if (!condition && !by_second_open) {
        fail("property operations and state checks succeed, but for a second open's", expression);
    }
}

void task_does_not_throw(const thread& self, const std::string& what)
{
    if (what != thrown_by_callbacks) {
        fail("no exception of our own reaches the platform", self.name + ": " + what);
    }
}

// Callbacks

void nothing_is_reported_after_clearing(const player& of)
{
    if (of.cleared_callbacks != 0) {
        fail("nothing is reported once destroy has cleared the callbacks", name_of(of));
    }
}

void callbacks_are_cleared(const player& of)
{
    if (of.cleared_callbacks != 3) {
        fail("destroy clears the callbacks",
             name_of(of) + ": " + std::to_string(of.cleared_callbacks) + " of 3");
    }
}

void report_has_been_posted(const player& of)
{
    if (of.unposted) {
        fail("every report with a callback is posted, under the same lock", name_of(of));
    }
}

void callback_was_due(const report& told)
{
    const auto& due = observed().reports;
    if (due.empty() || due.front().player != told.player || due.front().kind != told.kind ||
        due.front().registration != told.registration) {
        fail("callbacks come once for each report, in order",
             "player " + std::to_string(told.player) + ", value " + std::to_string(*told.value));
    }
}

void callback_tells_what_was_stored(const report& told)
{
    const report& due = observed().reports.front();
    if (due.value && due.value != told.value) {
        fail("a callback is told what was stored",
             std::to_string(*told.value) + " instead of " + std::to_string(*due.value));
    }
}

void error_is_a_neighbours(const report& told)
{
    for (const player& each : observed().players) {
        if (told.kind == report_kind::error && each.number == told.player &&
            std::find(each.codes.begin(), each.codes.end(), *told.value) == each.codes.end()) {
            fail("an error report tells the code of a neighbour",
                 name_of(each) + ": " + std::to_string(*told.value));
        }
    }
}

void every_report_was_told()
{
    if (!observed().reports.empty()) {
        fail("callbacks come once for each report, in order",
             std::to_string(observed().reports.size()) + " never came");
    }
}

void stop_callback_comes_once(const stop_request& request)
{
    if (request.calls > 1 || !request.ran) {
        fail("each stop callback comes at most once, after its task",
             "command " + std::to_string(request.command));
    }
}

void stop_callback_has_come(const stop_request& request)
{
    if (request.ran && request.calls != 1) {
        fail("each stop callback comes exactly once if its task ran",
             "command " + std::to_string(request.command));
    }
}

// Life

void further_destroys_describe(const player& of)
{
    if (of.destroys > 1 && of.descriptions != of.destroys - 1) {
        fail("every further destroy only describes the player",
             name_of(of) + ": " + std::to_string(of.destroys) + " destroys, " +
                 std::to_string(of.descriptions) + " descriptions");
    }
}

void lock_ends_free(_qz_object& object)
{
    if (is_locked(*object.property_mutex.native_handle())) {
        fail("no lock is destroyed while it is held", object_name(object));
    }
}

void every_object_is_gone()
{
    if (observed().objects != 0) {
        fail("every destroyed player is gone at the end",
             std::to_string(observed().objects) + " objects are left");
    }
}

void live_count_is_zero()
{
    if (live_count("[qz_audio]") != 0) {
        fail("the live count returns to 0", std::to_string(live_count("[qz_audio]")));
    }
}

// Locks

void at_most_one_lock(const thread& self, const pthread_mutex_t& wanted)
{
    if (!self.locks.empty()) {
        const bool same = self.locks.back() == &wanted;
        fail("lock order: no lock is taken while one is held",
             self.name + (same ? " takes the one that it holds" : " takes a second one"));
    }
}

void one_output_is_opened_at_a_time(const thread& self, unsigned others)
{
    if (others != 0) {
        fail("outputs are opened one after another", self.name);
    }
}

void property_is_guarded(const thread& self, const player* of, const std::string& expression)
{
    if (of == nullptr && starts_with(expression, "qz_property_") &&
        !starts_with(expression, "qz_property_init")) {
        fail("properties are used under the player's lock", self.name + ": " + expression);
    }
}

void property_is_read_under_lock(const thread& self, const property_list& list)
{
    for (player& each : observed().players) {
        if (&each.object->property_list == &list && !each.ends() &&
            (self.locks.empty() ||
             self.locks.back() != each.object->property_mutex.native_handle())) {
            fail("properties are used under the player's lock", name_of(each));
        }
    }
}

// Handles of the sound libraries

void handle_exists(bool exists, const char* function)
{
    if (!exists) {
        fail("only handles that exist are used", function);
    }
}

void handle_is_open(const sound_handle& handle, const char* function)
{
    if (!handle.alive) {
        fail("no handle is used after it was closed", handle.name + " by " + function);
    }
}

void handle_is_not_replaced(const sound_handle& handle, const char* function)
{
    if (handle.replaced) {
        fail("no handle is used after a second open has replaced it",
             handle.name + " by " + function);
    }
}

void handle_is_not_busy(const thread& self, const sound_handle& handle, const char* function)
{
    if (handle.user != nullptr) {
        fail("one thread at a time uses a handle",
             handle.name + " by " + function + " on " + self.name);
    }
}

/// The player's own thread uses its handles until the player is closed; then the steps of destruction
/// do, and at last the destructor.
void handle_is_used_by_its_owner(const thread& self, const sound_handle& handle,
                                 const char* function)
{
    for (const player& each : observed().players) {
        if (each.number == handle.player && !each.ends() &&
            (each.own_thread == &self) == each.object->closed) {
            fail("handles are used by the player's thread, and after its end by destruction",
                 handle.name + " by " + function + " on " + self.name);
        }
    }
}

void handle_was_closed(const sound_handle& handle)
{
    if (handle.alive != handle.replaced) {
        fail("every handle that was opened is closed once, but for the replaced ones", handle.name);
    }
}

void seeks_with_a_decoder(bool has_decoder)
{
    if (!has_decoder) {
        fail("nothing is sought without a decoder", "the real library would crash");
    }
}

void block_is_there(std::size_t available, std::size_t wanted)
{
    if (available < wanted) {
        fail("blocks are decoded into memory that is there",
             std::to_string(wanted) + " bytes into " + std::to_string(available));
    }
}

void decoder_has_recorded_volume(const player& of, const std::optional<double>& volume)
{
    if (volume && std::lround(*volume * 100) != of.record->volume) {
        fail("the decoder that is read has the recorded volume", name_of(of));
    }
}

void sound_goes_to_a_started_output(bool started, std::size_t bytes)
{
    if (!started && bytes != 0) {
        fail("sound is played on an output that was started", std::to_string(bytes) + " bytes");
    }
}

void stop_drops_what_is_buffered(std::size_t buffered)
{
    if (buffered != 0) {
        fail("a stop drops what the output buffers", std::to_string(buffered) + " bytes");
    }
}

// Ends

void memory_is_freed(long left)
{
    if (left != 0) {
        fail("all memory is freed at the end", std::to_string(left) + " allocations are left");
    }
}

void programme_ends(std::uint64_t steps)
{
    // More than any programme takes.
    constexpr std::uint64_t most_steps = 400'000;
    if (steps > most_steps) {
        fail("every programme ends", "it still runs after " + std::to_string(steps) + " steps");
    }
}

// Reports

operation request_of(const thread& self)
{
    return self.jobs.empty() ? operation::none : self.jobs.back();
}

void note_report(player& of, report_kind kind, const char* property, std::optional<int> value)
{
    nothing_is_reported_after_clearing(of);
    const auto registration = registration_of(of.object->property_list.at(property), kind);
    if (registration) {
        of.unposted = report{of.number, kind, value, *registration};
    }
}

} // namespace

void check_after_step()
{
    for (const player& each : observed().players) {
        if (is_at_rest(each)) {
            status_agrees_with_record(each);
            has_no_handles_in_none(each);
            every_volume_is_reported(each);
        }
    }
}

void check_lock_order(const thread& self, const pthread_mutex_t& wanted)
{
    at_most_one_lock(self, wanted);
}

void check_unlock(const thread&, const pthread_mutex_t& mutex)
{
    if (const player* const of = observed().find(mutex)) {
        report_has_been_posted(*of);
    }
}

void check_report(thread& self, bool condition, const std::string& expression,
                  const std::string& message)
{
    checks_hold(condition, expression, message);
    player* const of = self.locks.empty() ? nullptr : observed().find(*self.locks.back());
    property_is_guarded(self, of, expression);
    const bool is_write = starts_with(expression, "qz_property_set");
    if (message == "status" && is_write) {
        status_change_is_legal(*of, request_of(self));
        repeating_track_goes_on(*of, request_of(self));
        note_report(*of, report_kind::status, "on_status_changed", of->told_status());
    } else if (message == "audio_volume" && is_write) {
        note_report(*of, report_kind::volume, "on_volume_change", of->told_volume());
        of->owes_volume = false;
    } else if (message == "on_error" && starts_with(expression, "qz_property_get_extract")) {
        of->owes_error = nullptr;
        of->owes_block = false;
        note_report(*of, report_kind::error, "on_error", std::nullopt);
    } else if (is_write && of != nullptr && expression.find(",nullptr)") != std::string::npos) {
        of->cleared_callbacks += message == "audio_data" ? 0U : 1U;
    }
}

void check_property_read(const thread& self, const property_list& list)
{
    property_is_read_under_lock(self, list);
}

void note_posting(const thread& worker, operation request)
{
    if (player* const of = observed().find(worker)) {
        of->waiting_halts += is_halt(request) ? 1 : 0;
    }
}

void note_posted(const thread& worker, operation request)
{
    if (player* const of = observed().find(worker)) {
        of->requested_halts += is_halt(request) ? 1 : 0;
    }
}

void check_look(player& of, milliseconds now, milliseconds next)
{
    of.first_look = of.first_look.value_or(now);
    of.looks_after_halt += of.requested_halts > 0 ? 1 : 0;
    request_ends_the_wait(of);
    wait_is_short(of, next);
    nothing_runs_in_the_wait(of);
}

void check_library_call(const thread& self)
{
    if (player* const of = observed().find(self)) {
        of->wait_ended = of->first_look.has_value();
    }
}

void check_dropped(const player& of, milliseconds unplayed)
{
    end_is_heard(of, unplayed);
}

void check_task_begins(player& of, operation request)
{
    of.waiting_halts -= is_halt(request) ? 1 : 0;
    of.requested_halts -= is_halt(request) ? 1 : 0;
    of.wait_ended = of.first_look.has_value();
    of.unserved_blocks = 0;
    of.idle_services = 0;
    of.last_decode = request == operation::play ? MPG123_OK : of.last_decode;
    if (request == operation::play) {
        const qz_audio_status status = of.record->status;
        of.halted = of.halted || status == qz_audio_status_playing;
        of.owes_block = status != qz_audio_status_playing && status != qz_audio_status_opened;
    }
}

void check_task_ended(player& of, bool outermost)
{
    if (of.ends() || of.object->closed) {
        return;
    }
    status_agrees_with_record(of);
    has_no_handles_in_none(of);
    every_volume_is_reported(of);
    applied_volume_was_told(of);
    if (outermost) {
        failure_is_reported(of);
        keeps_decoding(of);
        play_has_decoded(of);
        play_task_has_left(of);
    }
}

void check_status_query(const player& of, std::size_t from, qz_audio_status result)
{
    query_tells_a_status_of_its_time(of, from, result);
}

void check_block_read(player& of)
{
    ++of.unserved_blocks;
    of.first_look.reset();
    of.looks_after_halt = 0;
    of.wait_ended = false;
    of.owes_block = false;
    of.idle_services = 0;
    serves_between_blocks(of);
    decodes_nothing_while_halted(of);
    other_track_ends(of);
}

void check_decoded(player& of, int result)
{
    of.last_decode = result;
}

void check_service(player& of, bool ran)
{
    of.unserved_blocks = 0;
    of.idle_services += ran ? 0 : 1;
    decodes_when_nothing_waits(of);
}

void check_intervals(const thread& own_thread, std::size_t count)
{
    one_fade_at_most(own_thread, count);
}

void check_opening(const thread& self, unsigned others)
{
    one_output_is_opened_at_a_time(self, others);
}

void check_handle_exists(bool exists, const char* function)
{
    handle_exists(exists, function);
}

void check_handle_use(const thread& self, const sound_handle& handle, const char* function)
{
    handle_is_open(handle, function);
    handle_is_not_replaced(handle, function);
    handle_is_not_busy(self, handle, function);
    handle_is_used_by_its_owner(self, handle, function);
}

void check_handle_closed(const sound_handle& handle)
{
    handle_was_closed(handle);
}

void check_decoder_volume(const player& of, const std::optional<double>& volume)
{
    decoder_has_recorded_volume(of, volume);
}

void check_block_memory(std::size_t available, std::size_t wanted)
{
    block_is_there(available, wanted);
}

void check_seek(bool has_decoder)
{
    seeks_with_a_decoder(has_decoder);
}

void check_volume_change(const player& of)
{
    no_volume_is_set_in_an_error(of);
}

void check_played(bool started, std::size_t bytes)
{
    sound_goes_to_a_started_output(started, bytes);
}

void check_output_stopped(std::size_t buffered)
{
    stop_drops_what_is_buffered(buffered);
}

void check_exception(const thread& self, const std::string& what)
{
    task_does_not_throw(self, what);
}

void check_post(thread& self)
{
    player* const of = self.locks.empty() ? nullptr : observed().find(*self.locks.back());
    if (of != nullptr && of->unposted) {
        observed().reports.push_back(*of->unposted);
        of->unposted.reset();
    }
}

void check_callback(const report& told)
{
    callback_was_due(told);
    callback_tells_what_was_stored(told);
    error_is_a_neighbours(told);
    observed().reports.pop_front();
}

void check_stop_callback(stop_request& request)
{
    ++request.calls;
    stop_callback_comes_once(request);
}

void check_service_stop(player& of)
{
    callbacks_are_cleared(of);
    of.taken_down = true;
}

void check_object_ends(_qz_object& object)
{
    lock_ends_free(object);
    if (const player* const of = observed().find(object)) {
        ends_in_none(*of);
        further_destroys_describe(*of);
    }
}

void check_end()
{
    every_object_is_gone();
    live_count_is_zero();
    every_report_was_told();
    std::for_each(observed().stops.begin(), observed().stops.end(), stop_callback_has_come);
    every_decoder_was_closed();
    every_output_was_closed();
}

void check_memory(long left)
{
    memory_is_freed(left);
}

void check_step_count(std::uint64_t steps)
{
    programme_ends(steps);
}

void report_deadlock(const std::string& waiting)
{
    fail("every thread ends", "these wait for ever:" + waiting);
}

} // namespace simulation
