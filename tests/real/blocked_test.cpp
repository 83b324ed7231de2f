#include "support.h"
#include "support_calls.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include "event.h"
#include "process.h"
#include "program.h"
#include "wav_file.h"

#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace
{

constexpr const char* track_name = "track.mp3";
constexpr const char* output_name = "44100-2";

/// Something that a player waits for until the test lets it go.
class neighbour
{
public:
    neighbour() = default;
    virtual ~neighbour() = default;
    neighbour(const neighbour&) = delete;
    neighbour& operator=(const neighbour&) = delete;

    /// Waits until it holds the player, as far as this can be seen; returns whether it does.
    virtual bool holds() { return true; }

    /// The status that the player has told last then.
    [[nodiscard]] virtual std::string last_word() const = 0;

    /// Lets it go; returns whether `enough` comes true then.
    virtual bool lets_go_until(const std::function<bool()>& enough) = 0;
};

/// An output that somebody holds open and nobody listens to.
class full_output : public neighbour
{
public:
    explicit full_output(const fs::path& folder) : pipe_(folder / output_name) {}

    [[nodiscard]] std::string last_word() const override { return "playing"; }
    bool holds() override
    {
        return wait_until([this] { return pipe_.is_full(); });
    }
    bool lets_go_until(const std::function<bool()>& enough) override
    {
        return pipe_.listens_until(enough);
    }

private:
    sound_pipe pipe_;
};

/// An output that waits, in its opening, for somebody to listen.
class output_without_listener : public neighbour
{
public:
    explicit output_without_listener(const fs::path& folder) : file_(folder / output_name)
    {
        make_pipe(file_);
    }

    [[nodiscard]] std::string last_word() const override { return "opened"; }
    bool lets_go_until(const std::function<bool()>& enough) override
    {
        return sound_pipe(file_).listens_until(enough);
    }

private:
    std::string file_;
};

/// Ends the track whenever the player opens it; returns whether `enough` comes true.
bool ends_until(const std::string& file, const std::function<bool()>& enough)
{
    return wait_until([&] {
        const track_pipe ended(file);
        return enough();
    });
}

/// A track that waits, in its opening, for somebody to write it.
class track_without_writer : public neighbour
{
public:
    explicit track_without_writer(const fs::path& folder) : file_(folder / track_name)
    {
        fs::remove(file_);
        make_pipe(file_);
    }

    [[nodiscard]] std::string last_word() const override { return "opened"; }
    bool lets_go_until(const std::function<bool()>& enough) override
    {
        return ends_until(file_, enough);
    }

private:
    std::string file_;
};

/// A track that somebody writes no more of than this share, and does not end either.
class unfinished_track : public neighbour
{
public:
    unfinished_track(const fs::path& folder, double share) : file_(folder / track_name)
    {
        const std::string whole = read_file(file_);
        const double bytes = share * static_cast<double>(whole.size());
        beginning_ = whole.substr(0, static_cast<std::size_t>(bytes));
        fs::remove(file_);
        pipe_.emplace(file_);
    }

    [[nodiscard]] std::string last_word() const override
    {
        return beginning_.empty() ? "opened" : "playing";
    }
    bool holds() override { return pipe_->passes(std::exchange(beginning_, {})); }
    bool lets_go_until(const std::function<bool()>& enough) override
    {
        pipe_.reset();
        return ends_until(file_, enough);
    }

private:
    std::string file_;
    std::string beginning_;
    std::optional<track_pipe> pipe_;
};

struct way {
    const char* name;
    std::function<std::unique_ptr<neighbour>(const fs::path& folder)> make;
};

void PrintTo(const way& way, std::ostream* stream)
{
    *stream << way.name;
}

/// A player whose neighbour blocks, and one with another output that nobody blocks.
class blocked : public real_test, public ::testing::WithParamInterface<way>
{
protected:
    blocked()
    {
        write_sound_to(path("%r-%c"), "raw");
        cause = GetParam().make(path(""));
    }

    [[nodiscard]] std::string make_good_track() const
    {
        track_settings settings;
        settings.name = "good.mp3";
        settings.rate = 22050;
        settings.channels = 1;
        return make_track(settings);
    }

    const std::string track = make_track({track_name, 44100, 2, "3"});
    const std::string good = make_good_track();
    std::unique_ptr<neighbour> cause;
};

} // namespace

TEST_P(blocked, holds_only_its_own_player)
{
    told_player held;
    qz_audio_set_audio_track(held.handle(), track);
    qz_audio_play(held.handle());
    ASSERT_TRUE(cause->holds());
    ASSERT_TRUE(held.waits_for(cause->last_word()));

    qz_audio_ptr handle = held.handle();
    const boost::weak_ptr<_qz_audio> watched = handle;
    const auto is_gone = [&watched] { return watched.expired(); };
    call_all_but_open_and_destroy(handle, good);
    held.destroy();
    // Behind the destruction, which drops it: an open that is served twice loses what the first has made.
    qz_audio_open(handle);
    handle.reset();

    told_player other;
    EXPECT_TRUE(other.plays(good));
    EXPECT_THAT(other.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    EXPECT_TRUE(same_samples(read_file(path("22050-1")), decode(good).samples));

    EXPECT_FALSE(is_gone()) << "nothing has held the player";
    EXPECT_TRUE(cause->lets_go_until(is_gone));
}

TEST_P(blocked, lets_the_process_exit)
{
    const std::string word = cause->last_word();
    program process({program_folder() / "real_exit_program", track, word}, {});
    ASSERT_TRUE(cause->holds());
    ASSERT_TRUE(process.wait_for_output(
        [&word](const std::string& output) { return output.find(word) != std::string::npos; }));
    process.send(SIGUSR1);
    EXPECT_EQ(process.wait_for_exit(), 7);
}

INSTANTIATE_TEST_SUITE_P(
    by, blocked,
    ::testing::Values(
        way{"full_output", std::make_unique<full_output, const fs::path&>},
        way{"output_without_listener", std::make_unique<output_without_listener, const fs::path&>},
        way{"track_without_writer", std::make_unique<track_without_writer, const fs::path&>},
        way{"empty_track",
            [](const fs::path& folder) { return std::make_unique<unfinished_track>(folder, 0); }},
        way{"half_a_track",
            [](const fs::path& folder) {
                return std::make_unique<unfinished_track>(folder, 0.5);
            }}),
    [](const auto& tested) { return tested.param.name; });
