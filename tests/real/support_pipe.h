/// \file
/// \brief An output that plays on only while the test listens, and a track that goes on only while the
/// test writes.
#pragma once

#include <functional>
#include <string>

/// A pipe between the default device and the test. A player whose test does not listen waits in the
/// middle of its track.
class sound_pipe
{
public:
    /// Makes the pipe under this name. It holds `capacity` bytes, and this is also what is listened to at
    /// a time.
    explicit sound_pipe(const std::string& file, int capacity = 65536);
    ~sound_pipe();

    sound_pipe(const sound_pipe&) = delete;
    sound_pipe& operator=(const sound_pipe&) = delete;

    /// Listens until `enough` says so; returns whether it did before patience ran out.
    bool listens_until(const std::function<bool()>& enough);

    /// Listens to at least this many bytes more; returns whether they came.
    bool listens_to(std::size_t bytes);

    /// Returns whether it takes nothing more until the test listens.
    [[nodiscard]] bool is_full() const;

    /// Returns what was heard since the last call and what the pipe still holds. Nothing may be playing.
    std::string take();

private:
    bool reads_some();

    int descriptor_;
    std::string heard_;
};

/// A pipe that a track comes through. It ends when this does.
class track_pipe
{
public:
    /// Makes the pipe under this name, unless it is there.
    explicit track_pipe(const std::string& file);
    ~track_pipe();

    track_pipe(const track_pipe&) = delete;
    track_pipe& operator=(const track_pipe&) = delete;

    /// Writes as the player reads; returns whether all was read before patience ran out.
    bool passes(const std::string& bytes);

private:
    [[nodiscard]] bool is_empty() const;

    int descriptor_;
};

void make_pipe(const std::string& file);
