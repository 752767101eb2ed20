// A tool for the tests of child processes: it tells what it was given, and behaves as tools do. Its first argument says
// what it does; anything else, and nothing, is --report.
//   --report            prints what it is, one "key=value" each line, and ends. "argument", "environment" and "folder"
//                       come as the hexadecimal digits of their UTF-8 bytes, one line each; the rest is the platform's:
//                       user, groups, capabilities, descriptors, signals; user, integrity, privileges
//   --exit=N            ends with the code N
//   --print=N           prints N bytes, "0123456789" again and again, and ends
//   --print-and-hang=N  the same, and waits to be ended
//   --hang              prints "ready" and waits to be ended
//   --echo              prints what it reads until there is no more
//   --await-break       prints "ready", and when it is asked to break off prints "broken off" and ends with 3
//   --ignore-break      prints "ready" and does not break off
//   --crash             ends by a fault
//   --spawn-grandchild  starts itself with --hang, prints "grandchild=<process id>" and waits to be ended
//   --spawn-daemon      the same, but the grandchild has broken with it as far as the system allows
//   --spawn-fugitive    the same, but the grandchild also hides whose it is
//   --leave-grandchild, --leave-daemon, --leave-fugitive  the same three, but the tool ends at once
//   --is-handle=H       prints "yes" and ends with 0, or "no" and 1: whether the number H is a handle of this process
//   --try-write=FILE    likewise: whether the file can be written; and
//   --try-read=FILE, --try-run=FILE, --try-raw-socket, --try-signal=PROCESS
// Its exit code is 0 unless said otherwise, and 2 when it cannot do what it is told.

#include "contract.processprobe.hpp"

#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace Contract::Probe
{

namespace
{

constexpr int CannotDo = 2;
constexpr int BrokenOff = 3;

void Print(std::string_view text)
{
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
    (void)std::fflush(stdout);
}

void PrintLine(std::string_view text)
{
    Print(std::string(text) + "\n");
}

int Answer(bool yes)
{
    PrintLine(yes ? "yes" : "no");
    return yes ? 0 : 1;
}

std::string ToHex(std::string_view bytes)
{
    constexpr std::string_view Digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes)
    {
        const auto value = static_cast<unsigned char>(byte);
        text.push_back(Digits[value >> 4U]);
        text.push_back(Digits[value & 15U]);
    }
    return text;
}

void Report(const std::vector<std::string>& arguments)
{
    std::string report;
    for (const std::string& argument : arguments)
    {
        report += "argument=" + ToHex(argument) + "\n";
    }
    for (const std::string& entry : Environment())
    {
        report += "environment=" + ToHex(entry) + "\n";
    }
    report += "folder=" + ToHex(WorkingFolder()) + "\n";
    Print(report + DescribeSelf());
}

void PrintBytes(std::size_t count)
{
    std::string bytes;
    for (std::size_t i = 0; i < count; ++i)
    {
        bytes.push_back(static_cast<char>('0' + i % 10));
    }
    Print(bytes);
}

void Echo()
{
    for (int byte = std::getchar(); byte != EOF; byte = std::getchar())
    {
        (void)std::putchar(byte);
        (void)std::fflush(stdout);
    }
}

int Spawn(Descendant descendant, bool isToWait)
{
    PrintLine("grandchild=" + std::to_string(StartSelf(descendant)));
    if (isToWait)
    {
        WaitToBeEnded();
    }
    return 0;
}

int Obey(std::string_view what, const std::string& with, const std::vector<std::string>& arguments)
{
    if (what == "--exit")
    {
        return static_cast<int>(std::stoul(with));
    }
    if (what == "--print" || what == "--print-and-hang")
    {
        PrintBytes(std::stoul(with));
        if (what == "--print")
        {
            return 0;
        }
        WaitToBeEnded();
    }
    if (what == "--hang")
    {
        PrintLine("ready");
        WaitToBeEnded();
    }
    if (what == "--await-break" || what == "--ignore-break")
    {
        const bool isHeeded = what == "--await-break";
        HandleBreak(isHeeded);
        PrintLine("ready");
        AwaitBreak();
        PrintLine("broken off");
        return BrokenOff;
    }
    constexpr std::array Descendants = {
        std::pair(std::string_view("-grandchild"), Descendant::Child),
        std::pair(std::string_view("-daemon"), Descendant::Daemon),
        std::pair(std::string_view("-fugitive"), Descendant::Fugitive)};
    for (const auto& [ending, descendant] : Descendants)
    {
        if (what.ends_with(ending))
        {
            return Spawn(descendant, what.starts_with("--spawn"));
        }
    }
    if (what == "--is-handle" || what.starts_with("--try-"))
    {
        return Answer(Try(what, with));
    }
    if (what == "--echo")
    {
        Echo();
    }
    else if (what == "--crash")
    {
        Crash();
    }
    else
    {
        Report(arguments);
    }
    return 0;
}

} // namespace

int Run(const std::vector<std::string>& arguments)
{
    try
    {
        const std::string first = arguments.size() > 1 ? arguments[1] : std::string();
        const std::size_t separator = first.find('=');
        const std::string with = separator == std::string::npos ? std::string() : first.substr(separator + 1);
        return Obey(std::string_view(first).substr(0, separator), with, arguments);
    }
    catch (const std::exception& exception)
    {
        PrintLine(exception.what());
        return CannotDo;
    }
}

} // namespace Contract::Probe
