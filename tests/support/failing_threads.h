/// \file
/// \brief Lets threads fail to start. Replaces the program's `pthread_create`.
#pragma once

/// While this lives, no thread of the process can be started, after the first `allowed` ones. One at a
/// time.
class failing_threads
{
public:
    explicit failing_threads(int allowed = 0);
    ~failing_threads();
    failing_threads(const failing_threads&) = delete;
    failing_threads& operator=(const failing_threads&) = delete;
};
