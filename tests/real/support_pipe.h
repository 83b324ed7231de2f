/// \file
/// \brief An output that plays on only while the test listens.
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

    /// Returns what was heard since the last call and what the pipe still holds. Nothing may be playing.
    std::string take();

private:
    bool reads_some();

    int descriptor_;
    std::string heard_;
};
