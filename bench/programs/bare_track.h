/// \file
/// \brief What an application without a player library writes: decode a block, play a block.
#pragma once

#include <mpg123.h>
#include <out123.h>

#include <cstddef>
#include <cstdio>
#include <vector>

/// A track on the default output, played block by block by whoever calls.
class bare_track
{
public:
    explicit bare_track(const char* path)
        : decoder_(mpg123_new(nullptr, nullptr)), output_(out123_new())
    {
        mpg123_param(decoder_, MPG123_ADD_FLAGS, MPG123_QUIET, 0.0);
        ready_ = out123_open(output_, nullptr, nullptr) == OUT123_OK &&
                 mpg123_open(decoder_, path) == MPG123_OK && start();
        if (!ready_) {
            std::fprintf(stderr, "cannot play %s: %s; %s\n", path, mpg123_strerror(decoder_),
                         out123_strerror(output_));
        }
    }
    ~bare_track()
    {
        out123_del(output_);
        mpg123_delete(decoder_);
    }
    bare_track(const bare_track&) = delete;
    bare_track& operator=(const bare_track&) = delete;

    [[nodiscard]] bool failed() const { return !ready_; }

    /// Plays the next block. Returns whether there may be another.
    bool play_block()
    {
        if (!ready_) {
            return false;
        }
        std::size_t done = 0;
        const int result = mpg123_read(decoder_, block_.data(), block_.size(), &done);
        out123_play(output_, block_.data(), done);
        return result == MPG123_OK;
    }

    void rewind() { mpg123_seek(decoder_, 0, SEEK_SET); }
    void pause() { out123_pause(output_); }
    void drop() { out123_drop(output_); }

    /// Drops what the device buffers, closes it and goes back to the track's start.
    void stop()
    {
        drop();
        out123_stop(output_);
        rewind();
    }

    /// Plays the first block after a stop.
    bool play_again()
    {
        ready_ = start_output();
        return play_block();
    }

private:
    bool start()
    {
        if (mpg123_getformat(decoder_, &rate_, &channels_, &encoding_) != MPG123_OK) {
            return false;
        }
        mpg123_format_none(decoder_);
        mpg123_format(decoder_, rate_, channels_, encoding_);
        block_.resize(mpg123_outblock(decoder_));
        return start_output();
    }

    bool start_output() { return out123_start(output_, rate_, channels_, encoding_) == OUT123_OK; }

    mpg123_handle* decoder_;
    out123_handle* output_;
    long rate_ = 0;
    int channels_ = 0;
    int encoding_ = 0;
    std::vector<unsigned char> block_;
    bool ready_ = false;
};
