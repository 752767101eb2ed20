#pragma once

#include <memory>
#include <string>

namespace TestSupport
{

/// From construction to destruction named events of this process and of its children meet nobody else's: on Linux in a
/// temporary runtime directory, on Windows by names that UniqueName() makes. One at a time, made and destroyed while no
/// other thread uses named events.
class EventNames
{
public:
    EventNames();
    EventNames(const EventNames&) = delete;
    EventNames& operator=(const EventNames&) = delete;
    ~EventNames();

    /// `stem` with something behind it that no other process and no earlier call has.
    std::wstring Unique(const std::wstring& stem) const;

    /// The runtime directory; empty on Windows.
    std::string Folder() const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace TestSupport
