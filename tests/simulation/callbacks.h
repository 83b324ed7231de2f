/// \file
/// \brief The callbacks that the simulated application registers.
#pragma once

#include "players.h"

#include <boost/any.hpp>

#include <memory>
#include <optional>

namespace simulation
{

class application;

/// What an exception says that a callback throws.
constexpr const char* thrown_by_callbacks = "thrown by a callback";

/// What a callback captures: tells where it is copied and destroyed.
class captured
{
public:
    captured() = default;
    captured(const captured& other);
    captured(captured&& other) noexcept : live_(std::exchange(other.live_, false)) {}
    captured& operator=(const captured&) = delete;
    captured& operator=(captured&&) = delete;
    ~captured();

private:
    bool live_ = true;
};

/// A status, error or volume callback. The command that registered it is its name.
class event_callback
{
public:
    event_callback(application& of, unsigned command, report_kind kind)
        : application_(&of), command_(command), kind_(kind)
    {
    }

    void operator()(qz_audio_ptr told, int value) const;

    [[nodiscard]] unsigned command() const { return command_; }

private:
    application* application_;
    unsigned command_;
    report_kind kind_;
    captured captured_;
};

/// The callback of a stop.
class stop_callback
{
public:
    stop_callback(application& of, stop_request& request) : application_(&of), request_(&request) {}

    void operator()(qz_audio_ptr told) const;

private:
    application* application_;
    stop_request* request_;
    captured captured_;
};

/// The command that registered the callback in `property`; nothing where it is empty.
std::optional<unsigned> registration_of(const boost::any& property, report_kind kind);

} // namespace simulation
