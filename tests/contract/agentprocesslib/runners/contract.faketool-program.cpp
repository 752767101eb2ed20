// Any of the four test tools, by its name; what it does its target says, which is the last argument, and of bmtr.exe the
// one before. Of a target that is a URL it is what stands behind the last slash.
//   exit=N            prints "some words" and ends with the code N
//   print=DIGITS      prints the bytes of these hexadecimal digits and ends
//   print-N=DIGITS    the same, and ends with the code N
//   nothing           ends
//   flood=N           prints N bytes and ends
//   hang              prints "ready" and waits to be ended
//   ignore-break      prints "ready" and does not break off
//   await-break=DIGITS   prints "ready"; when it is asked to break off it prints these bytes, and ends with 1
//   crash             prints "some words" and ends by a fault
// Anything else: prints "argument=" and the hexadecimal digits of the argument, one line for each, and ends. The exit code
// is 0 unless said otherwise.

#include "../../shared/concurrency/contract.processprobe.hpp"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace Contract::Probe
{

namespace
{

constexpr int BrokenOff = 1;

void Print(std::string_view text)
{
    (void)std::fwrite(text.data(), 1, text.size(), stdout);
    (void)std::fflush(stdout);
}

std::string FromHex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
    {
        bytes.push_back(static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

void PrintArguments(const std::vector<std::string>& arguments)
{
    constexpr std::string_view Digits = "0123456789abcdef";
    for (const std::string& argument : arguments)
    {
        std::string line = "argument=";
        for (const char byte : argument)
        {
            const auto value = static_cast<unsigned char>(byte);
            line.push_back(Digits[value >> 4U]);
            line.push_back(Digits[value & 15U]);
        }
        Print(line + "\n");
    }
}

void Flood(std::size_t size)
{
    const std::string piece(4096, 'x');
    for (std::size_t left = size; left > 0; left -= std::min(left, piece.size()))
    {
        Print(std::string_view(piece).substr(0, left));
    }
}

int BreakOff(bool isHeeded, const std::string& digits)
{
    HandleBreak(isHeeded);
    Print("ready\r\n");
    AwaitBreak();
    Print(FromHex(digits));
    return BrokenOff;
}

int Obey(std::string_view what, const std::string& with, const std::vector<std::string>& arguments)
{
    if (what == "exit")
    {
        Print("some words");
        return static_cast<int>(std::stoul(with));
    }
    if (what.starts_with("print"))
    {
        Print(FromHex(with));
        return what == "print" ? 0 : std::stoi(std::string(what.substr(std::string_view("print-").size())));
    }
    if (what == "await-break" || what == "ignore-break")
    {
        return BreakOff(what == "await-break", with);
    }
    if (what == "flood")
    {
        Flood(std::stoul(with));
    }
    else if (what == "hang")
    {
        Print("ready");
        WaitToBeEnded();
    }
    else if (what == "crash")
    {
        Print("some words");
        Crash();
    }
    else if (what != "nothing")
    {
        PrintArguments(arguments);
    }
    return 0;
}

} // namespace

int Run(const std::vector<std::string>& arguments)
{
    MakeOutputBinary();
    const bool isBmtr = arguments.front().ends_with("bmtr.exe");
    const std::string& whole = arguments.at(arguments.size() - (isBmtr ? 2 : 1));
    const std::string target = whole.substr(whole.rfind('/') + 1);
    const std::size_t separator = target.find('=');
    const std::string with = separator == std::string::npos ? std::string() : target.substr(separator + 1);
    return Obey(std::string_view(target).substr(0, separator), with, arguments);
}

} // namespace Contract::Probe
