#include "qz_play_test.h"
#include "sound_server.h"

#include <sys/stat.h>

using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

class wav : public qz_play_test
{
protected:
    void expect_written(const std::string& file, const std::string& track) const
    {
        const wav_file written = read_wav(file);
        EXPECT_TRUE(written.header_fits) << file;
        EXPECT_TRUE(written.samples == decoded(track)) << file << " differs from mpg123's";
    }
};

class wav_named : public wav, public ::testing::WithParamInterface<const char*>
{
};

class wav_with_umask : public wav, public ::testing::WithParamInterface<mode_t>
{
};

} // namespace

TEST_F(wav, is_what_mpg123_decodes)
{
    const std::string track = make_track({});
    const result played = run({"--wav", path("out.wav"), track});
    EXPECT_EQ(played.status, 0);
    EXPECT_EQ(played.errors, "sound output: opened\n" + track + ": loaded\n" + track +
                                 ": playing\n" + track +
                                 ": stopped\n"
                                 "sound output: closed\n");
    EXPECT_THAT(played.output, IsEmpty());
    EXPECT_THAT(temporary_folders(), IsEmpty());
    expect_written(path("out.wav"), track);
}

TEST_F(wav, is_one_file_a_track_whatever_their_formats)
{
    const std::string first = make_track({"first.mp3", "0.5", "44100", "2"});
    const std::string second = make_track({"second.mp3", "0.7", "22050", "1"});
    const std::string third = make_track({"third.mp3", "0.3", "48000", "2"});
    EXPECT_EQ(run({"--wav", path("out.wav"), first, second, third}).status, 0);
    expect_written(path("out-1.wav"), first);
    expect_written(path("out-2.wav"), second);
    expect_written(path("out-3.wav"), third);
    EXPECT_FALSE(fs::exists(path("out.wav")));
}

TEST_F(wav, needs_no_extension)
{
    const std::string track = make_track({});
    EXPECT_EQ(run({"--wav", path("out"), track, track}).status, 0);
    expect_written(path("out-1"), track);
    expect_written(path("out-2"), track);
}

TEST_F(wav, has_the_volume_asked_for)
{
    const std::string track = make_track({});
    EXPECT_EQ(run({"--volume", "50", "--wav", path("out.wav"), track}).status, 0);
    EXPECT_TRUE(read_wav(path("out.wav")).samples == decoded(track, {"-f", "16384"}));
}

TEST_F(wav, of_a_silent_volume_is_silent)
{
    const std::string track = make_track({});
    EXPECT_EQ(run({"--volume", "0", "--wav", path("out.wav"), track}).status, 0);
    EXPECT_TRUE(read_wav(path("out.wav")).samples == std::string(decoded(track).size(), '\0'));
}

TEST_F(wav, replaces_a_longer_file)
{
    const std::string track = make_track({});
    write_file(path("out.wav"), std::string(5'000'000, 'x'));
    EXPECT_EQ(run({"--wav", path("out.wav"), track}).status, 0);
    expect_written(path("out.wav"), track);
}

TEST_F(wav, holds_no_messages_where_standard_error_is_closed)
{
    const std::string track = make_track({});
    program player(
        {"sh", "-c", R"(exec "$0" --wav "$1" "$2" 2>&-)", qz_play({})[0], path("out.wav"), track},
        settings);
    EXPECT_EQ(player.wait_for_exit(), 0);
    expect_written(path("out.wav"), track);
}

TEST_F(wav, is_written_where_a_sound_server_runs)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::string track = make_track({});
    EXPECT_EQ(run({"--wav", path("out.wav"), track}).status, 0);
    expect_written(path("out.wav"), track);
}

TEST_P(wav_named, oddly_is_written)
{
    settings.folder = path("home");
    const std::string track = make_track({});
    EXPECT_EQ(run({"--wav", GetParam(), track}).status, 0);
    expect_written(fs::path(path("home")) / GetParam(), track);
}

INSTANTIATE_TEST_SUITE_P(each, wav_named,
                         ::testing::Values("out.wav", "./with spaces.wav", "\"quoted\" 'twice'.wav",
                                           "back\\slash\\n.wav", "%r %c %% %.wav", "| cat > x.wav",
                                           "$HOME ${x} $[1].wav", "{a [b] <c> # d}; e=f, g.wav",
                                           "new\nline.wav", "\xc3\xa4 \xff.wav"));

TEST_P(wav_with_umask, has_ordinary_permissions)
{
    settings.umask = GetParam();
    EXPECT_EQ(run({"--wav", path("out.wav"), make_track({})}).status, 0);
    const auto expected = static_cast<fs::perms>(0666U & ~GetParam());
    EXPECT_EQ(fs::status(path("out.wav")).permissions(), expected);
}

INSTANTIATE_TEST_SUITE_P(each, wav_with_umask, ::testing::Values(0022, 0002, 0077));

TEST_F(wav, into_a_full_device_ends_the_program)
{
    const result refused = run({"--wav", "/dev/full", make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("qz_play: the WAV file /dev/full cannot be written ("
                                          "No space left on device); name another.\n"));
}

TEST_F(wav, that_cannot_be_made_ends_the_program)
{
    const std::string file = path("none/out.wav");
    const result refused = run({"--wav", file, make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors,
                HasSubstr("qz_play: the WAV file " + file +
                          " cannot be written (No such file or directory); name another.\n"));
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(wav, is_never_the_track_itself)
{
    const std::string track = make_track({});
    const std::string before = read_file(track);
    fs::create_hard_link(track, path("out.wav"));
    const result refused = run({"--wav", path("out.wav"), track});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("the WAV file must not be the track itself"));
    EXPECT_TRUE(read_file(track) == before);
}

TEST_F(wav, that_finds_no_room_is_told_of)
{
    settings.file_size_limit = 20'000;
    const std::string track = make_track({});
    const result cut = run({"--wav", path("out.wav"), track});
    EXPECT_EQ(cut.status, 3);
    EXPECT_THAT(cut.errors, HasSubstr("qz_play: " + track + ": the WAV file is not complete; "));
}
