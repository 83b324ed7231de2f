// The part of `playback` that handles the user's commands.

#include "playback.h"

#include <algorithm>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

/// For the fade-out command, if no option sets the duration.
constexpr seconds default_fade_out = 2s;
constexpr seconds longest_fade_out = 10s;

constexpr auto suspend_timeout = 1s;

/// For the search for a file to open. After it, the list continues.
constexpr auto search_timeout = 10s;

/// For an output that is being opened when the user quits.
constexpr auto quit_timeout = 1s;

constexpr auto replaced = "replaced by a later command";

/// Returns the tracks, without those before the first playable one.
search_result find_playable(const std::string& path, const cancel_flag& cancelled)
{
    search_result result = find_tracks({path}, accept::only_files, cancelled);
    auto& tracks = result.tracks;
    while (!tracks.empty()) {
        const std::string problem = inspect(tracks.front(), scan::no, cancelled).problem;
        if (problem.empty()) {
            break;
        }
        result.problems.push_back(tracks.front() + ": " + problem);
        tracks.erase(tracks.begin());
    }
    return result;
}

} // namespace

/// A pause would make ALSA's file plugin start its file again.
void playback::perform(const command::pause&)
{
    if (wav_ != nullptr) {
        events_.refused("a WAV export cannot be paused");
    } else if (desired_.state == play_state::playing) {
        set_state(play_state::paused, smooth_fade());
    }
}

void playback::perform(const command::fade_out&)
{
    const bool is_set = options_.fade_out > seconds::zero();
    set_state(play_state::stopped,
              is_set ? std::min(options_.fade_out, longest_fade_out) : default_fade_out);
}

void playback::perform(const command::next&)
{
    if (!tracks_.has_next()) {
        events_.refused("last track");
        return;
    }
    tracks_.go_to_next();
    select_current();
}

void playback::perform(const command::previous&)
{
    if (!tracks_.has_previous()) {
        events_.refused("first track");
        return;
    }
    tracks_.go_to_previous();
    select_current();
}

void playback::perform(const command::jump& wanted)
{
    if (wanted.number < 1 || wanted.number > tracks_.size()) {
        events_.refused("no track " + std::to_string(wanted.number));
        return;
    }
    tracks_.jump(wanted.number - 1);
    if (desired_.state == play_state::stopped) {
        desired_.state = play_state::playing;
    }
    select_current();
}

void playback::perform(const command::set_loop& wanted)
{
    desired_.loop = wanted.mode;
    tracks_.set_loop(wanted.mode == loop_mode::list);
    const bool repeats = wanted.mode == loop_mode::track;
    if (player_) {
        player_->set_repeat(repeats);
    }
    if (track_) {
        track_->set_repeat(repeats);
    }
    update();
}

/// A repeated track would make a WAV file grow without end.
void playback::perform(const command::cycle_loop&)
{
    if (wav_ != nullptr) {
        events_.refused("a WAV export cannot be repeated");
    } else {
        constexpr int count = 3;
        perform(command::set_loop{
            static_cast<loop_mode>((static_cast<int>(desired_.loop) + 1) % count)});
    }
}

void playback::perform(const command::set_shuffle& wanted)
{
    tracks_.set_shuffle(wanted.on);
    update();
}

/// The current track continues until a playable one is found.
void playback::perform(const command::open& wanted)
{
    cancel_search(replaced);
    cancel_scan();
    pending_open_ = wanted;
    search_timeout_.set(event_loop::clock::now() + search_timeout);
    const auto work = [path = wanted.path](const cancel_flag& cancelled) {
        return find_playable(path, cancelled);
    };
    search_ = worker_.run(work, [this](const search_result& result) { on_found(result); });
    update();
}

void playback::cancel_search(const std::string& reason)
{
    if (pending_open_) {
        search_timeout_.cancel();
        search_.cancel();
        std::exchange(pending_open_, std::nullopt)->reply(reason);
    }
}

void playback::on_found(const search_result& result)
{
    search_timeout_.cancel();
    const command::open wanted = *std::exchange(pending_open_, std::nullopt);
    for (const std::string& problem : result.problems) {
        events_.failed(problem);
    }
    if (result.tracks.empty()) {
        wanted.reply(result.problems.empty() ? wanted.path + ": no tracks in this list"
                                             : result.problems.front());
        update();
        return;
    }
    wanted.reply("");
    tracks_.insert(result.tracks);
    desired_.state = play_state::playing;
    select_current();
}

void playback::perform(const command::quit&)
{
    if (desired_.end_requested) {
        end();
    } else {
        quit();
    }
}

void playback::end_by_signal()
{
    exit_status_ = exit_by_signal;
    quit();
}

void playback::quit()
{
    desired_.end_requested = true;
    if (state_ == state::opening) {
        timeout_.set(event_loop::clock::now() + quit_timeout);
    }
    apply_desired(smooth_fade());
}

void playback::suspend(std::function<void()> then)
{
    is_suspended_ = true;
    on_suspended_ = std::move(then);
    suspend_timeout_.set(event_loop::clock::now() + suspend_timeout);
    apply_desired(smooth_fade());
}

void playback::complete_suspend()
{
    if (on_suspended_) {
        suspend_timeout_.cancel();
        std::exchange(on_suspended_, nullptr)();
    }
}

/// If the track was about to stop, it stops now, without the rest of its fade.
void playback::resume()
{
    is_suspended_ = false;
    apply_desired(wants(selection_) ? smooth_fade() : seconds::zero());
}

void playback::on_continued()
{
    if (track_) {
        track_->on_continued();
    }
    if (state_ == state::opening || state_ == state::closing) {
        set_timeout();
    }
}

void playback::select_current()
{
    cancel_search(replaced);
    ++desired_.selection;
    apply_desired(smooth_fade());
}

void playback::set_state(play_state wanted, seconds fade)
{
    if (wanted == play_state::stopped) {
        cancel_search(replaced);
    }
    desired_.state = wanted;
    apply_desired(fade);
}

void playback::set_volume(int percent, bool muted)
{
    desired_.volume = std::clamp(percent, 0, 100);
    desired_.muted = muted;
    if (track_) {
        track_->set_volume(effective_volume());
    }
    update();
}

/// Applies the desired state to the current track. A change fades within `fade`.
void playback::apply_desired(seconds fade)
{
    if (!wants(selection_)) {
        cancel_scan();
    }
    const bool must_be_silent = is_suspended_ && wav_ == nullptr;
    if (!track_) {
        // `step` starts the next track
    } else if (!wants(selection_) && !must_be_silent) {
        track_->stop(fade);
    } else if (must_be_silent || desired_.state == play_state::paused) {
        track_->pause(fade);
    } else {
        track_->play(fade);
    }
    update();
}

snapshot playback::take_snapshot()
{
    snapshot now;
    now.state = has_played_ ? visible_state() : play_state::stopped;
    now.path = tracks_.current();
    now.index = tracks_.current_index();
    now.track_count = tracks_.size();
    now.volume = desired_.volume;
    now.muted = desired_.muted;
    now.loop = desired_.loop;
    now.shuffle = tracks_.is_shuffled();
    now.can_next = tracks_.has_next();
    now.can_previous = tracks_.has_previous();
    now.taken = snapshot::clock::now();
    now.knows_tags = known_info() != nullptr;
    if (const media_info* info = known_info()) {
        now.title = info->title;
        now.artist = info->artist;
        now.album = info->album;
        now.length = info->estimated_length;
    }
    if (track_ && selection_ == desired_.selection) {
        now.is_advancing = track_->is_advancing();
        now.position = track_->position();
        if (const auto& size = track_->size()) {
            now.length = size->length;
        }
    }
    return now;
}

const media_info* playback::known_info() const
{
    if (selection_ == desired_.selection) {
        return &info_;
    }
    return candidate_ && candidate_->result ? &candidate_->result->info : nullptr;
}

/// A fade-out may begin right at the start, and a WAV file is written too fast for a scan in parallel. Other
/// tracks are scanned while they play, so that they start sooner.
bool playback::needs_size_at_start() const
{
    return wav_ != nullptr || options_.fade_in + options_.fade_out > seconds::zero();
}

/// A track that fades out is shown as playing until it is silent, except at the end of the program.
play_state playback::visible_state() const
{
    if (desired_.end_requested) {
        return play_state::stopped;
    }
    const bool fades_out = desired_.state == play_state::stopped &&
                           selection_ == desired_.selection && track_ && track_->is_advancing();
    return fades_out ? play_state::playing : desired_.state;
}

int playback::final_exit_status() const
{
    if (exit_status_) {
        return *exit_status_;
    }
    if (failed_count_ == 0) {
        return exit_all_played;
    }
    return has_played_ ? exit_some_failed : exit_none_played;
}
