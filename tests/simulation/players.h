/// \file
/// \brief What the simulation knows of each player, for the invariants.
#pragma once

#include "operation.h"
#include "scheduler.h"

#include "qz_audio/qz_audio.h"
#include "qz_audio/qz_audio_record.h"

#include <pthread.h>

#include <deque>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace simulation
{

enum class report_kind : unsigned char { status, error, volume };

/// Something that a player tells the application.
struct report {
    int player;
    report_kind kind;
    std::optional<int> value; ///< Unknown for an error.
    unsigned registration;    ///< The callback that was registered at that moment.
};

/// A stop that an application has asked for, with a callback.
struct stop_request {
    unsigned command;   ///< The command of the programme that it is.
    bool ran = false;   ///< Its task.
    unsigned calls = 0; ///< Of its callback.
};

struct player {
    int number;
    _qz_audio* object;
    const thread* own_thread;
    _audio_data* record;
    const boost::any* status;                                    ///< Its property.
    const boost::any* volume;                                    ///< Its property.
    std::vector<qz_audio_status> statuses{qz_audio_status_none}; ///< That it has had.
    bool halted = false;                                         ///< By a play while it played.
    const char* owes_error = nullptr; ///< The call that has failed and is not reported yet.
    bool owes_block = false;          ///< A play has begun that has decoded nothing yet.
    int last_decode = 0;              ///< What the last read, or a failed seek or load, gave.
    unsigned unserved_blocks = 0;     ///< Read since a task was asked for.
    unsigned idle_services = 0;       ///< Asked for a task in vain since a block was read.
    int waiting_halts = 0;            ///< Posted stops, tracks and destroys that have not begun.
    int requested_halts = 0;          ///< The same, once the posting has returned.
    std::optional<milliseconds> first_look{}; ///< Of the wait at the end of a track.
    unsigned looks_after_halt = 0;            ///< Begun with a halt requested.
    bool wait_ended = false;                  ///< Something has run since.
    bool owes_volume = false;         ///< The decoder has a new one that is not reported yet.
    std::vector<int> codes{0, 7};     ///< That an error report may tell.
    std::optional<report> unposted{}; ///< Stored, and not handed to the system service yet.
    unsigned destroys = 0;
    unsigned descriptions = 0;
    unsigned cleared_callbacks = 0;
    bool taken_down = false;

    /// Whether its destructor runs.
    [[nodiscard]] bool ends() const { return object->weak_from_this().expired(); }
    [[nodiscard]] qz_audio_status told_status() const;
    [[nodiscard]] int told_volume() const;
};

/// All that one simulation has seen.
struct observations {
    std::list<player> players;  ///< Those that exist, in the order of their making.
    std::deque<report> reports; ///< Posted and not yet told, oldest first.
    std::list<stop_request> stops;
    std::size_t objects = 0; ///< Platform objects that exist.

    player* find(const _qz_object& object);
    player* find(const pthread_mutex_t& property_mutex);
    player* find(const thread& own_thread);
};

observations& observed();

/// A new player, which the registry holds from now on.
void observe_player(int number, _qz_audio& object, const thread& own_thread);
void forget_player(const _qz_object& object);

} // namespace simulation
