#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include "event.h"
#include "wav_file.h"

#include <mpg123.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

#include <sys/fsuid.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace
{

/// A file that is no track, made in a folder of the test's own unless it is there.
struct odd_file {
    const char* name;
    std::function<std::string(const fs::path& folder)> make;
};

void PrintTo(const odd_file& file, std::ostream* stream)
{
    *stream << file.name;
}

std::function<std::string(const fs::path&)> existing(const std::string& file)
{
    return [file](const fs::path&) { return file; };
}

/// A file that nobody, not even root, can open.
std::string make_socket(const fs::path& folder)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string file = folder / "socket";
    file.copy(std::begin(address.sun_path), sizeof(address.sun_path) - 1);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): that is how addresses are given.
    const auto* const named = reinterpret_cast<const sockaddr*>(&address);
    EXPECT_EQ(bind(descriptor, named, sizeof(address)), 0);
    close(descriptor);
    return file;
}

std::string make_link_to_itself(const fs::path& folder)
{
    fs::create_symlink("loop", folder / "loop");
    return folder / "loop";
}

std::string make_path_through_a_file(const fs::path& folder)
{
    write_file(folder / "file", "");
    return folder / "file" / "track.mp3";
}

std::string make_name_that_is_too_long(const fs::path& folder)
{
    return folder / std::string(300, 'n');
}

std::string make_folder(const fs::path& folder)
{
    fs::create_directory(folder / "folder.mp3");
    return folder / "folder.mp3";
}

std::string make_file_of_size(const fs::path& folder, std::uintmax_t size)
{
    write_file(folder / "zeros.mp3", "");
    fs::resize_file(folder / "zeros.mp3", size);
    return folder / "zeros.mp3";
}

std::string make_empty_file(const fs::path& folder)
{
    return make_file_of_size(folder, 0);
}

std::string make_sparse_file(const fs::path& folder)
{
    return make_file_of_size(folder, std::uintmax_t{1} << 32);
}

std::string test_name(const ::testing::TestParamInfo<odd_file>& info)
{
    return info.param.name;
}

/// What is no track, and a track after it.
class odd_files : public real_test
{
protected:
    odd_files() { write_sound_to(path("%r-%c.wav")); }

    /// What a player tells of the file.
    static std::string error_of(const std::string& file)
    {
        const decoded_track decoded = decode(file);
        EXPECT_NE(decoded.result, MPG123_OK);
        return "error " + std::to_string(decoded.error);
    }

    void expect_good_track_plays(told_player& player) const
    {
        const std::string track = make_track({});
        const decoded_track decoded = decode(track);
        ASSERT_EQ(decoded.result, MPG123_DONE);
        EXPECT_TRUE(player.plays(track));
        EXPECT_TRUE(same_samples(written_samples(decoded.rate, decoded.channels), decoded.samples));
    }
};

class file_that_cannot_be_opened : public odd_files, public ::testing::WithParamInterface<odd_file>
{
};

class file_without_audio : public odd_files, public ::testing::WithParamInterface<odd_file>
{
};

/// From construction to destruction, this thread and the threads that it makes may open what nobody may.
class unprivileged
{
public:
    unprivileged() : before_(setfsuid(geteuid() == 0 ? nobody : geteuid())) {}
    ~unprivileged() { setfsuid(static_cast<uid_t>(before_)); }
    unprivileged(const unprivileged&) = delete;
    unprivileged& operator=(const unprivileged&) = delete;

private:
    static constexpr uid_t nobody = 65534;

    int before_;
};

} // namespace

TEST_P(file_that_cannot_be_opened, is_told_and_the_next_track_plays)
{
    const std::string file = GetParam().make(path(""));
    const std::string error = error_of(file);
    told_player player;
    qz_audio_set_audio_track(player.handle(), file);
    ASSERT_TRUE(player.waits_for(error));
    qz_audio_play(player.handle());
    expect_good_track_plays(player);
    EXPECT_THAT(player.end(), ElementsAre("opened", error, "loaded", "playing", "stopped", "none"));
}

INSTANTIATE_TEST_SUITE_P(each, file_that_cannot_be_opened,
                         ::testing::Values(odd_file{"socket", make_socket},
                                           odd_file{"link_to_itself", make_link_to_itself},
                                           odd_file{"below_a_file", make_path_through_a_file},
                                           odd_file{"long_name", make_name_that_is_too_long}),
                         test_name);

TEST_P(file_without_audio, closes_the_player_and_the_next_track_plays)
{
    const std::string file = GetParam().make(path(""));
    const std::string error = error_of(file);
    told_player player;
    qz_audio_set_audio_track(player.handle(), file);
    ASSERT_TRUE(player.waits_for(error));
    qz_audio_play(player.handle());
    ASSERT_TRUE(player.waits_for(error));
    expect_good_track_plays(player);
    EXPECT_THAT(player.end(), ElementsAre("opened", "none", error, "opened", "none", error,
                                          "opened", "loaded", "playing", "stopped", "none"));
}

INSTANTIATE_TEST_SUITE_P(each, file_without_audio,
                         ::testing::Values(odd_file{"folder", make_folder},
                                           odd_file{"empty", make_empty_file},
                                           odd_file{"sparse", make_sparse_file},
                                           odd_file{"proc_text", existing("/proc/self/status")},
                                           odd_file{"proc_memory", existing("/proc/self/mem")},
                                           odd_file{"null", existing("/dev/null")},
                                           odd_file{"zeros_for_ever", existing("/dev/zero")}),
                         test_name);

TEST_F(odd_files, that_may_not_be_read_are_told_and_the_next_track_plays)
{
    const told_player first; // So that the thread of all players is none of the unprivileged.
    fs::permissions(path(""), fs::perms::all);
    const std::string file = make_track({"private.mp3"});
    fs::permissions(file, fs::perms::none);
    auto for_a_while = std::make_unique<unprivileged>();
    const std::string error = error_of(file);
    told_player player;
    for_a_while.reset();

    qz_audio_set_audio_track(player.handle(), file);
    ASSERT_TRUE(player.waits_for(error));
    expect_good_track_plays(player);
    EXPECT_THAT(player.end(), ElementsAre("opened", error, "loaded", "playing", "stopped", "none"));
}

TEST_F(odd_files, at_the_end_of_the_longest_path_play)
{
    constexpr std::size_t longest_path = 4095;
    constexpr std::size_t longest_name = 250;
    const std::string name = "/track.mp3";
    std::string folder = path("");
    while (folder.size() + name.size() < longest_path) {
        const std::size_t left = longest_path - name.size() - folder.size() - 1;
        folder += "/" + std::string(std::min(left, longest_name), 'd');
        fs::create_directory(folder);
    }
    const std::string track = make_track({});
    fs::copy_file(track, folder + name);
    ASSERT_EQ((folder + name).size(), longest_path);

    told_player player;
    EXPECT_TRUE(player.plays(folder + name));
    EXPECT_EQ(qz_audio_get_current_track(player.handle()), folder + name);
    EXPECT_TRUE(same_samples(written_samples(44100, 2), decode(track).samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(odd_files, of_more_than_4_GiB_play_their_frames_and_end_with_an_error_after_them)
{
    const std::string track = make_track({});
    const std::string samples = decode(track).samples;
    fs::resize_file(track, std::uintmax_t{5} << 30);
    EXPECT_EQ(decode(track).result, MPG123_ERR);
    told_player player;
    EXPECT_TRUE(player.plays(track));
    EXPECT_TRUE(same_samples(written_samples(44100, 2), samples));
    const std::string error = "error " + std::to_string(MPG123_ERR);
    EXPECT_THAT(player.end(),
                ElementsAre("opened", "loaded", "playing", error, error, "stopped", "none"));
}

TEST_F(odd_files, at_a_relative_path_are_those_of_the_folder_where_the_process_is_when_they_load)
{
    const fs::path before = fs::current_path();
    fs::create_directory(path("there"));
    const std::string here = make_track({});
    const std::string there = make_track({"there/track.mp3", 22050});

    told_player player;
    const auto arrived = std::make_shared<event>();
    const auto wait = [arrived] { EXPECT_TRUE(arrived->wait()); };
    qz_thread_service_exec(player.handle()->thread_service, wait, __FILE__, __LINE__);
    fs::current_path(fs::path(here).parent_path());
    qz_audio_set_audio_track(player.handle(), "track.mp3");
    qz_audio_play(player.handle());
    fs::current_path(fs::path(there).parent_path());
    arrived->set();
    EXPECT_TRUE(player.waits_for("stopped"));
    fs::current_path(before);
    EXPECT_TRUE(same_samples(written_samples(22050, 2), decode(there).samples));
    EXPECT_EQ(qz_audio_get_current_track(player.handle()), "track.mp3");
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(odd_files, that_come_slowly_through_a_pipe_play_whole)
{
    const std::string track = make_track({});
    const std::string bytes = read_file(track);
    const std::string pipe = path("pipe.mp3");
    std::optional<track_pipe> writer(std::in_place, pipe);
    told_player player;
    qz_audio_set_audio_track(player.handle(), pipe);
    qz_audio_play(player.handle());
    // In pieces that end anywhere in a frame: the player has to wait for the rest.
    for (std::size_t start = 0; start < bytes.size(); start += 101) {
        ASSERT_TRUE(writer->passes(bytes.substr(start, 101)));
    }
    writer.reset();
    EXPECT_TRUE(player.waits_for("stopped"));
    EXPECT_TRUE(same_samples(written_samples(44100, 2), decode(track).samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}
