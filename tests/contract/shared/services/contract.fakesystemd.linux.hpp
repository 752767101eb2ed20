#pragma once

#include <map>
#include <memory>
#include <string>

namespace Contract
{

/// A unit of the fake: its name with ".service", whether it exists, its state, and whether it can be started.
struct FakeUnit
{
    std::string loadState = "loaded";
    std::string activeState = "inactive";
    bool canStart = true;
};

/// A message bus of its own, with a small systemd on it in a thread of this process, and the environment turned towards it
/// (DBUS_SYSTEM_BUS_ADDRESS) until destruction. Speaks what the agent asks of systemd: of the manager the property Version
/// and the methods LoadUnit and StartUnit, of a unit the properties LoadState and ActiveState. Starting a unit makes it
/// active. One at a time.
class FakeSystemd
{
public:
    /// Whether the program of the message bus is installed.
    static bool IsAvailable();

    /// @param withSystemd false leaves the bus without a systemd on it.
    explicit FakeSystemd(std::map<std::string, FakeUnit> units, bool withSystemd = true);
    FakeSystemd(FakeSystemd&&) = delete;
    ~FakeSystemd();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Contract
