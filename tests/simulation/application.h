/// \file
/// \brief The simulated application: does what a programme says.
#pragma once

#include "platform.h"
#include "programme.h"
#include "scheduler.h"

#include "qz_audio/qz_audio.h"

#include <vector>

namespace simulation
{

class application
{
public:
    application(const programme& to_do, scheduler& schedule, platform& below);
    application(const application&) = delete;
    application& operator=(const application&) = delete;

    /// Starts the threads, and one that destroys what is left when they have ended.
    void start();

    /// On the system service: what the callback that `command` registered does, told of `told`.
    void run_callback(unsigned command, const qz_audio_ptr& told);

private:
    void run_thread(unsigned index);
    void end_all();
    void destroy_held_players();
    void drop_handles();
    void perform(unsigned index, unsigned table, const qz_audio_ptr& told);
    void call(unsigned index, unsigned table, const qz_audio_ptr& told);
    void create(unsigned slot);
    void stop(unsigned index, const qz_audio_ptr& target);
    void register_callback(unsigned index, const qz_audio_ptr& target);
    void move_handle(const command& what, unsigned table, const qz_audio_ptr& told);

    const programme& programme_;
    scheduler& schedule_;
    platform& platform_;
    std::vector<std::vector<qz_audio_ptr>> handles_; ///< Of each thread, then of the callbacks.
    std::vector<unsigned> callback_runs_;            ///< Of each command's callback.
    unsigned running_threads_ = 0;
    bool ends_ = false; ///< No handle is kept any more.
};

} // namespace simulation
