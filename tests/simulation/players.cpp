#include "players.h"

#include <algorithm>

namespace simulation
{

namespace
{

template <typename Condition>
player* find_if(std::list<player>& players, Condition condition)
{
    const auto found = std::find_if(players.begin(), players.end(), condition);
    return found == players.end() ? nullptr : &*found;
}

} // namespace

qz_audio_status player::told_status() const
{
    return *boost::unsafe_any_cast<qz_audio_status>(status);
}

int player::told_volume() const
{
    return *boost::unsafe_any_cast<int>(volume);
}

player* observations::find(const _qz_object& object)
{
    return find_if(players, [&](const player& each) { return each.object == &object; });
}

player* observations::find(const pthread_mutex_t& property_mutex)
{
    return find_if(players, [&](const player& each) {
        return each.object->property_mutex.native_handle() == &property_mutex;
    });
}

player* observations::find(const thread& own_thread)
{
    return find_if(players, [&](const player& each) { return each.own_thread == &own_thread; });
}

observations& observed()
{
    static observations all;
    return all;
}

void observe_player(int number, _qz_audio& object, const thread& own_thread)
{
    const auto& properties = object.property_list;
    player seen{number,
                &object,
                &own_thread,
                boost::any_cast<_audio_data*>(properties.at("audio_data")),
                &properties.at("status"),
                &properties.at("audio_volume")};
    observed().players.push_back(std::move(seen));
}

void forget_player(const _qz_object& object)
{
    observed().players.remove_if([&](const player& each) { return each.object == &object; });
}

} // namespace simulation
