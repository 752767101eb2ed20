#include "lab.connector-stopevent.hpp"

#include "shared.concurrency-event.hpp"

#include <exception>
#include <utility>

namespace Lab::Connector
{

FoundEvent FindStopEvent(const std::wstring& name)
{
    FoundEvent found;
    try
    {
        found.handle.Attach(Shared::Concurrency::Event::OpenForWaiting(name).Detach());
        found.source = EventSource::Name;
        return found;
    }
    catch (const std::exception& problem)
    {
        found.problem = problem.what();
    }
    found.handle = FindInheritedEvent(name);
    found.source = found.handle.IsValid() ? EventSource::Inheritance : EventSource::None;
    return found;
}

} // namespace Lab::Connector
