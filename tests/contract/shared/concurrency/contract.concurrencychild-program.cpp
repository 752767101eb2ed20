// Another process for the tests of the concurrency primitives. The first argument says what it does, the second with
// what; names are UTF-8, handles are the decimal numbers of this process's own:
//   --hold <name>       creates the manual-reset event, and waits until it is killed
//   --hold-signalled <name>   the same, signalled
//   --signal <name>     opens or creates the event and signals it
//   --await <name>      opens the event for waiting alone and waits; "no" at the time-out
//   --signal-handle <handle>  signals an inherited event; "no" when the system refuses
//   --exit <code>       ends at once
//   --sleep             waits until it is killed
// Its exit code is 0 for yes and done, 1 for no, 2 when it was not understood.

#include "contract.concurrencychild.hpp"

#include "shared.concurrency-event.hpp"
#include "shared.concurrency-nativeevent.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "test.support-time.hpp"

#include <cstdio>
#include <exception>
#include <string_view>

namespace
{

namespace ChildCode = Contract::ChildCode;
using Shared::Concurrency::Event;

[[noreturn]] void WaitToBeKilled()
{
    while (true)
    {
        Shared::Time::SleepFor(std::chrono::hours(1));
    }
}

Shared::Raii::RawHandle ToHandle(const std::string& word)
{
    return reinterpret_cast<Shared::Raii::RawHandle>(static_cast<std::uintptr_t>(std::stoull(word)));
}

std::uint32_t Answer(bool yes)
{
    return yes ? ChildCode::Yes : ChildCode::No;
}

std::uint32_t Obey(std::string_view what, const std::string& with)
{
    const std::wstring name = Shared::Util::ConvertStringType(with);
    if (what == "--hold" || what == "--hold-signalled")
    {
        Event event(false, true, name);
        if (what == "--hold-signalled")
        {
            event.Signal();
        }
        WaitToBeKilled();
    }
    if (what == "--signal")
    {
        Event(false, true, name).Signal();
        return ChildCode::Yes;
    }
    if (what == "--await")
    {
        return Answer(Event::OpenForWaiting(name).WaitOnEvent(TestSupport::LimitMs));
    }
    if (what == "--signal-handle")
    {
        return Answer(Shared::Concurrency::Native::SetEventObject(ToHandle(with)));
    }
    if (what == "--exit")
    {
        return static_cast<std::uint32_t>(std::stoul(with));
    }
    if (what == "--sleep")
    {
        WaitToBeKilled();
    }
    return ChildCode::Usage;
}

} // namespace

int main(int count, char** arguments)
{
    try
    {
        return static_cast<int>(Obey(count > 1 ? arguments[1] : "", count > 2 ? arguments[2] : ""));
    }
    catch (const std::exception& exception)
    {
        std::fprintf(stderr, "%s\n", exception.what());
        return ChildCode::No;
    }
}
