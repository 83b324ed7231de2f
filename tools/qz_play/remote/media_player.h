/// \file
/// \brief The object on the bus: the interfaces of MPRIS 2.
#pragma once

#include "session/events.h"
#include "session/snapshot.h"

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// Tells what the last snapshot says, and turns calls into requests. Of one thread, as its bus is.
class media_player
{
public:
    /// Throws `sdbus::Error`.
    media_player(sdbus::IConnection& bus, std::shared_ptr<event_queue> requests, snapshot now);

    /// Tells `now` from here on, and announces those properties that differ from before, and a position
    /// that they do not explain.
    void show(const snapshot& now);

private:
    template <class Value>
    using value_of = Value (*)(const snapshot&);
    using difference = std::function<bool(const snapshot&, const snapshot&)>;

    /// One that changes, and is announced.
    struct property {
        std::string name;
        difference differs;
    };

    void add_application();
    void add_methods();
    void add_properties();
    void add_settings();
    void add_constants();

    template <class Value>
    void add_constant(const std::string& interface, const std::string& name, const Value& value);

    /// Adds a property that can only be read.
    template <class Value>
    void add_property(const std::string& name, value_of<Value> value, const difference& differs);
    template <class Value>
    void add_property(const std::string& name, value_of<Value> value);

    /// Adds a property that can be set; `request_for` a value may refuse it with an `sdbus::Error`.
    template <class Value>
    void add_setting(const std::string& name, value_of<Value> value,
                     user_request (*request_for)(const Value&));

    /// Adds a method that takes nothing and asks for `wanted`.
    void add_request(const std::string& interface, const std::string& name,
                     const user_request& wanted);

    /// Has the session do it.
    void ask(const user_request& wanted);

    const std::shared_ptr<event_queue> requests_;
    const std::unique_ptr<sdbus::IObject> object_;
    std::vector<property> properties_;
    snapshot shown_;
};
