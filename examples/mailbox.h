/// \file
/// \brief What callbacks tell the main program.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

/// Callbacks put words in, the main program takes them out in the same order. Callbacks may still come
/// after everything else has ended: let each of them share the box and refer to nothing that may be gone.
template <class Word>
class mailbox
{
public:
    void put(Word word)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        words_.push_back(word);
        arrived_.notify_one();
    }

    Word take()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        arrived_.wait(lock, [this] { return !words_.empty(); });
        return take_first();
    }

    /// Returns nothing when no word comes in time.
    std::optional<Word> take_within(std::chrono::milliseconds time)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const bool came = arrived_.wait_for(lock, time, [this] { return !words_.empty(); });
        return came ? std::optional<Word>(take_first()) : std::nullopt;
    }

private:
    Word take_first()
    {
        const Word word = words_.front();
        words_.pop_front();
        return word;
    }

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Word> words_;
};

template <class Word>
std::shared_ptr<mailbox<Word>> make_mailbox()
{
    return std::make_shared<mailbox<Word>>();
}
