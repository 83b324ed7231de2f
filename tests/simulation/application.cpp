#include "application.h"

#include "callbacks.h"
#include "invariants.h"
#include "players.h"

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace simulation
{

namespace
{

std::string path(int number)
{
    return number == 0 ? "" : "path " + std::to_string(number);
}

/// The simulation counts players from 1 on, in the programme's order and not in that of their making.
int number_of(unsigned slot)
{
    return static_cast<int>(slot) + 1;
}

void query_status(const qz_audio_ptr& target)
{
    const player* const of = target ? observed().find(*target) : nullptr;
    const std::size_t from = of == nullptr ? 0 : of->statuses.size() - 1;
    const qz_audio_status result = qz_audio_get_playback_status(target);
    if (of != nullptr) {
        check_status_query(*of, from, result);
    }
}

/// A callback does what it does so many times, or two players could keep each other busy for ever.
constexpr unsigned most_runs = 2;

} // namespace

application::application(const programme& to_do, scheduler& schedule, platform& below)
    : programme_(to_do), schedule_(schedule), platform_(below),
      handles_(to_do.threads + 1, std::vector<qz_audio_ptr>(to_do.players)),
      callback_runs_(to_do.commands.size()), running_threads_(to_do.threads)
{
}

void application::start()
{
    for (unsigned i = 0; i < programme_.threads; ++i) {
        schedule_.start("thread " + std::to_string(i), [this, i] { run_thread(i); });
    }
    schedule_.start("end", [this] { end_all(); });
}

void application::run_thread(unsigned index)
{
    const auto& commands = programme_.commands;
    for (unsigned i = 0; i < commands.size(); ++i) {
        if (programme_.kept[i] && !commands[i].by.is_callback && commands[i].by.index == index) {
            perform(i, index, nullptr);
        }
    }
    --running_threads_;
    schedule_.notify(&running_threads_);
}

void application::run_callback(unsigned command, const qz_audio_ptr& told)
{
    schedule_.point("a callback runs");
    if (++callback_runs_[command] > most_runs) {
        return;
    }
    const auto& commands = programme_.commands;
    for (unsigned i = command + 1; i < commands.size(); ++i) {
        if (programme_.kept[i] && commands[i].by.is_callback && commands[i].by.index == command) {
            perform(i, programme_.threads, told);
        }
    }
}

void application::end_all()
{
    while (running_threads_ != 0) {
        schedule_.wait(&running_threads_);
    }
    if (schedule_.choices().one_in(2)) {
        schedule_.sleep(schedule_.choices().one_of<milliseconds>({1, 100, 3000}));
    }
    destroy_held_players();
    platform_.end_when_idle();
    drop_handles();
}

void application::destroy_held_players()
{
    for (unsigned slot = 0; slot < programme_.players; ++slot) {
        const auto held =
            boost::static_pointer_cast<_qz_audio>(platform::held_player(number_of(slot)));
        if (held) {
            schedule_.current()->request = operation::destroy;
            ++observed().find(*held)->destroys;
            qz_audio_destroy(held, "end", 0);
            schedule_.current()->request = operation::none;
        }
    }
}

void application::drop_handles()
{
    ends_ = true;
    for (auto& table : handles_) {
        for (qz_audio_ptr& each : table) {
            const auto dropped = std::exchange(each, nullptr);
        }
    }
}

void application::perform(unsigned index, unsigned table, const qz_audio_ptr& told)
{
    thread& self = *schedule_.current();
    self.request = programme_.commands[index].what;
    schedule_.point("calls", std::to_string(index) + ": " + name_of(self.request));
    call(index, table, told);
    self.request = operation::none;
}

void application::call(unsigned index, unsigned table, const qz_audio_ptr& told)
{
    const command& what = programme_.commands[index];
    const qz_audio_ptr target = what.slot == told_player ? told : handles_[table][what.slot];
    switch (what.what) {
    case operation::create:
        return create(what.slot);
    case operation::destroy:
        if (target) {
            ++observed().find(*target)->destroys;
        }
        return qz_audio_destroy(target, "simulation", static_cast<int>(index));
    case operation::set_bin_path:
        return qz_audio_set_bin_path(path(what.argument));
    case operation::get_bin_path:
        return static_cast<void>(qz_audio_get_bin_path());
    case operation::open:
        return qz_audio_open(target);
    case operation::set_track:
        return qz_audio_set_audio_track(target, path(what.argument));
    case operation::play:
        return qz_audio_play(target);
    case operation::pause:
        return qz_audio_pause(target);
    case operation::stop:
        return stop(index, target);
    case operation::set_volume:
        return qz_audio_set_volume(target, what.argument);
    case operation::fade_up:
        return static_cast<void>(qz_audio_volume_increment_timeout_start(target, what.argument));
    case operation::fade_down:
        return static_cast<void>(qz_audio_volume_decrement_timeout_start(target, what.argument));
    case operation::set_repeat:
        return static_cast<void>(qz_audio_set_repeat(target, what.argument != 0));
    case operation::get_status:
        return query_status(target);
    case operation::get_track:
        return static_cast<void>(qz_audio_get_current_track(target));
    case operation::get_error_string: {
        std::string text = path(what.argument);
        return static_cast<void>(qz_audio_get_last_error_string(target, text));
    }
    case operation::on_status_change:
    case operation::on_error:
    case operation::on_volume_change:
        return register_callback(index, target);
    case operation::set_increment_step:
        return static_cast<void>(qz_audio_set_audio_volume_increment_step(target, what.argument));
    case operation::set_decrement_step:
        return static_cast<void>(qz_audio_set_audio_volume_decrement_step(target, what.argument));
    case operation::set_increment_timeout:
        return static_cast<void>(
            qz_audio_set_audio_volume_increment_timeout(target, what.argument));
    case operation::set_decrement_timeout:
        return static_cast<void>(
            qz_audio_set_audio_volume_decrement_timeout(target, what.argument));
    case operation::drop_handle:
    case operation::keep_handle:
        return move_handle(what, table, told);
    case operation::sleep:
        return schedule_.sleep(static_cast<milliseconds>(what.argument));
    case operation::throw_exception:
        schedule_.current()->request = operation::none;
        throw std::runtime_error(thrown_by_callbacks);
    case operation::none:
        return;
    }
}

/// All threads and the callbacks get a handle of their own.
void application::create(unsigned slot)
{
    schedule_.current()->creates = number_of(slot);
    try {
        const qz_audio_ptr made = qz_audio_new();
        for (auto& table : handles_) {
            table[slot] = made;
        }
    } catch (const std::system_error&) {
        return; // no thread could be had: the slot stays empty
    }
}

void application::stop(unsigned index, const qz_audio_ptr& target)
{
    if (programme_.commands[index].argument == 0) {
        return qz_audio_stop(target, nullptr);
    }
    stop_request& request = observed().stops.emplace_back();
    request.command = index;
    schedule_.current()->stop = &request;
    qz_audio_stop(target, stop_callback(*this, request));
    schedule_.current()->stop = nullptr;
}

void application::register_callback(unsigned index, const qz_audio_ptr& target)
{
    const command& what = programme_.commands[index];
    const bool empty = what.argument == 0;
    if (what.what == operation::on_status_change) {
        const event_callback told(*this, index, report_kind::status);
        using function = std::function<void(qz_audio_ptr, qz_audio_status)>;
        qz_audio_on_status_change(target, empty ? function() : function(told));
        return;
    }
    using function = std::function<void(qz_audio_ptr, int)>;
    if (what.what == operation::on_error) {
        const event_callback told(*this, index, report_kind::error);
        qz_audio_on_error(target, empty ? function() : function(told));
    } else {
        const event_callback told(*this, index, report_kind::volume);
        qz_audio_on_volume_change(target, empty ? function() : function(told));
    }
}

/// A callback keeps the handle that it is told; a thread takes over what the callbacks have.
void application::move_handle(const command& what, unsigned table, const qz_audio_ptr& told)
{
    const unsigned slot = what.slot == told_player ? 0 : what.slot;
    qz_audio_ptr moved;
    if (what.what == operation::keep_handle && !ends_) {
        moved = told ? told : handles_[programme_.threads][slot];
    }
    handles_[table][slot].swap(moved);
}

} // namespace simulation
