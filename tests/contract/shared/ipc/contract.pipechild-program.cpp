// Another process for the tests of the pipes. The first argument says what it does, the second is the pipe's name:
//   --echo <name>          opens the pipe and gives back every message until the pipe ends
//   --count <name> <n>     opens it, writes n messages "0", "1", ..., and ends
//   --leave <name>         opens it and ends at once
//   --hold <name>          opens it and does nothing until it is killed
//   --serve <name>         makes the pipe and does nothing until it is killed
//   --open <name>          ends with 0 when the pipe can be opened within the limit
// Its exit code is 0 when it has done so, 1 when it has not, 2 when it was not understood.

#include "contract.pipes.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"

#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

namespace
{

constexpr int Done = 0;
constexpr int Failed = 1;
constexpr int Usage = 2;

[[noreturn]] void WaitToBeKilled()
{
    while (true)
    {
        Shared::Time::SleepFor(std::chrono::hours(1));
    }
}

int Echo(Contract::Client pipe)
{
    try
    {
        Shared::Concurrency::OverlappedIo read = pipe.Read();
        while (true)
        {
            if (!read.WaitForCompletion(Shared::Time::Infinite))
            {
                return Failed;
            }
            // A message of no bytes would come back as zeros.
            const bool isEmpty = read.IsSuccessful() && read.GetBytesTransferred() == 0;
            const Contract::Bytes message = Shared::Ipc::CompleteRead(pipe, read);
            read = pipe.Read();
            if (!Contract::Send(pipe, isEmpty ? Contract::Bytes() : message))
            {
                return Failed;
            }
        }
    }
    catch (const Shared::Ipc::PipeIoException&)
    {
        return Done;
    }
}

int Count(Contract::Client pipe, int count)
{
    for (int i = 0; i < count; ++i)
    {
        if (!Contract::Send(pipe, Contract::ToBytes(std::to_string(i))))
        {
            return Failed;
        }
    }
    return Done;
}

int Obey(std::string_view what, const std::wstring& name, const char* number)
{
    if (what == "--serve")
    {
        const Contract::Server server(name, Contract::BufferSize, false, L"");
        WaitToBeKilled();
    }
    Contract::Client pipe(name, Contract::BufferSize, TestSupport::LimitMs);
    if (what == "--echo")
    {
        return Echo(std::move(pipe));
    }
    if (what == "--count")
    {
        return Count(std::move(pipe), std::stoi(number));
    }
    if (what == "--hold")
    {
        WaitToBeKilled();
    }
    return what == "--leave" || what == "--open" ? Done : Usage;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 3)
    {
        return Usage;
    }
    try
    {
        return Obey(
            arguments[1], Shared::Util::ConvertStringType(std::string_view(arguments[2])),
            count > 3 ? arguments[3] : "0");
    }
    catch (const std::exception& exception)
    {
        std::fprintf(stderr, "%s\n", exception.what());
        return Failed;
    }
}
