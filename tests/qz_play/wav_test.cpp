#include "qz_play_test.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

} // namespace

TEST_F(wav, is_what_mpg123_decodes)
{
    const std::string track = make_track({});
    const result played = run_to_wav({track});
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
    std::vector<std::string> tracks{make_track({"first.mp3", "0.5", "44100", "2"}),
                                    make_track({"second.mp3", "0.7", "22050", "1"}),
                                    make_track({"third.mp3", "0.3", "48000", "2"})};
    tracks.resize(10, tracks.back());
    EXPECT_EQ(run_to_wav(tracks).status, 0);
    expect_written(path("out-01.wav"), tracks[0]);
    expect_written(path("out-02.wav"), tracks[1]);
    expect_written(path("out-10.wav"), tracks[9]);
    EXPECT_FALSE(fs::exists(path("out.wav")));
    EXPECT_EQ(run({"--wav", path("out"), tracks[0], tracks[1]}).status, 0);
    expect_written(path("out-1"), tracks[0]);
    expect_written(path("out-2"), tracks[1]);
}

TEST_F(wav, has_the_volume_asked_for)
{
    const std::string track = make_track({});
    EXPECT_EQ(run_to_wav({"--volume", "50", track}).status, 0);
    EXPECT_TRUE(read_wav(path("out.wav")).samples == decoded(track, {"-f", "16384"}));
    EXPECT_EQ(run_to_wav({"--volume", "0", track}).status, 0);
    EXPECT_TRUE(read_wav(path("out.wav")).samples == std::string(decoded(track).size(), '\0'));
}

TEST_F(wav, replaces_a_longer_file_also_where_a_sound_server_runs)
{
    start_server();
    const std::string track = make_track({});
    write_file(path("out.wav"), std::string(5'000'000, 'x'));
    EXPECT_EQ(run_to_wav({track}).status, 0);
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

TEST_F(wav, may_have_any_name)
{
    settings.folder = path("home");
    const std::string track = make_track({});
    for (const char* name :
         {"out.wav", "./with spaces.wav", "\"quoted\" 'twice'.wav", "back\\slash\\n.wav",
          "%r %c %% %.wav", "| cat > x.wav", "$HOME ${x} $[1].wav", "{a [b] <c> # d}; e=f, g.wav",
          "new\nline.wav", "\xc3\xa4 \xff.wav"}) {
        EXPECT_EQ(run({"--wav", name, track}).status, 0);
        expect_written(fs::path(path("home")) / name, track);
    }
}

TEST_F(wav, has_ordinary_permissions)
{
    const std::string track = make_track({});
    for (const mode_t mask : {0022U, 0002U, 0077U}) {
        settings.umask = mask;
        EXPECT_EQ(run_to_wav({track}).status, 0);
        EXPECT_EQ(fs::status(path("out.wav")).permissions(), fs::perms(0666U & ~mask));
        fs::remove(path("out.wav"));
    }
}

TEST_F(wav, that_cannot_be_written_ends_the_program)
{
    const std::string track = make_track({});
    const std::string before = read_file(track);
    fs::create_hard_link(track, path("link.wav"));
    for (const auto& [file, reason] :
         {std::pair<std::string, std::string>{"/dev/full",
                                              "cannot be written (No space left on device)"},
          {path("none/out.wav"), "cannot be written (No such file or directory)"},
          {make_pipe("pipe"), "cannot be written (No such device or address)"},
          {path("link.wav"), "the WAV file would overwrite a track"}}) {
        const result refused = run({"--wav", file, track});
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.errors, "qz_play: " + file + ": " + reason + "\n");
        EXPECT_THAT(temporary_folders(), IsEmpty());
    }
    EXPECT_TRUE(read_file(track) == before);
}

TEST_F(wav, overwrites_no_track_of_the_list)
{
    const std::string track = make_track({});
    fs::copy_file(track, path("out-1.mp3"));
    const result refused = run({"--wav", path("out.mp3"), track, path("out-1.mp3")});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors,
              "qz_play: " + path("out-1.mp3") + ": the WAV file would overwrite a track\n");
    EXPECT_TRUE(read_file(track) == read_file(path("out-1.mp3")));
}

TEST_F(wav, keeps_the_former_file_if_there_is_no_output_module)
{
    fs::create_directory(path("empty"));
    settings.environment["MPG123_MODDIR"] = path("empty");
    write_file(path("out.wav"), "former");
    EXPECT_EQ(run_to_wav({make_track({})}).status, 1);
    EXPECT_EQ(read_file(path("out.wav")), "former");
}

TEST_F(wav, into_a_pipe_whose_reader_ends_is_reported)
{
    const std::string pipe = make_pipe("pipe");
    const std::string track = make_track({"tone.mp3", "60"});
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    program player(qz_play({"--wav", pipe, track}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    close(reader);
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(player.errors(), HasSubstr("qz_play: " + track + ": the WAV file is incomplete"));
}

TEST_F(wav, that_cannot_be_written_in_mid_list_leaves_the_others)
{
    const std::string track = make_track({});
    fs::create_directory(path("out-2.wav"));
    const result played = run_to_wav({track, track, track});
    EXPECT_EQ(played.status, 3);
    EXPECT_THAT(played.errors, HasSubstr("qz_play: " + path("out-2.wav") +
                                         ": cannot be written (Is a directory)\n"));
    expect_written(path("out-1.wav"), track);
    expect_written(path("out-3.wav"), track);
}

TEST_F(wav, that_becomes_too_large_is_reported)
{
    const std::string track = make_track({});
    const std::string command = R"(ulimit -f 40; exec "$0" --wav "$1" "$2")";
    program player({"sh", "-c", command, qz_play({})[0], path("out.wav"), track}, settings);
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(
        player.errors(),
        HasSubstr("qz_play: " + track +
                  ": the WAV file is incomplete: disk full, file too large, or pipe closed\n"));
}
