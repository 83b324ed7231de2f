#include "callbacks.h"

#include "application.h"
#include "foreign_code.h"
#include "invariants.h"
#include "scheduler.h"

#include <functional>

namespace simulation
{

namespace
{

void check_foreign(const char* code)
{
    const scheduler* const schedule = scheduler::running();
    if (schedule != nullptr && schedule->current() != nullptr) {
        check_no_lock_beyond_list(*schedule->current(), code);
    }
}

int number_of(const qz_audio_ptr& told)
{
    const player* const of = told ? observed().find(*told) : nullptr;
    return of == nullptr ? 0 : of->number;
}

template <typename Function>
std::optional<unsigned> command_of(const boost::any& property)
{
    const auto* const stored = boost::any_cast<Function>(&property);
    const auto* const callback =
        stored == nullptr ? nullptr : stored->template target<event_callback>();
    return callback == nullptr ? std::nullopt : std::optional<unsigned>(callback->command());
}

} // namespace

captured::captured(const captured& other) : live_(other.live_)
{
    check_foreign("copy of a callback");
}

captured::~captured()
{
    if (live_) {
        check_foreign("destructor of a callback");
    }
}

void event_callback::operator()(qz_audio_ptr told, int value) const
{
    check_foreign("callback");
    check_callback({number_of(told), kind_, value, command_});
    application_->run_callback(command_, told);
}

void stop_callback::operator()(qz_audio_ptr told) const
{
    check_foreign("stop callback");
    check_stop_callback(*request_);
    application_->run_callback(request_->command, told);
}

std::optional<unsigned> registration_of(const boost::any& property, report_kind kind)
{
    return kind == report_kind::status
               ? command_of<std::function<void(qz_audio_ptr, qz_audio_status)>>(property)
               : command_of<std::function<void(qz_audio_ptr, int)>>(property);
}

} // namespace simulation
