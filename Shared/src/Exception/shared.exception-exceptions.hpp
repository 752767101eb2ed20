#pragma once

#include "shared.exception-sourcelocation.hpp"

#include <cstdint>
#include <exception>
#include <source_location>
#include <stdexcept>
#include <string>

namespace Shared::Exception
{

namespace Detail
{
std::string FormatBaseText(const char* text, const std::source_location& where);
} // namespace Detail

/// A failure that carries where it was raised. `Base` is the standard exception by which it can also be caught.
/// what(): "Exception in {}() at {}:{}:{} --> {}" with function, file, line, column and text; a null text gives
/// "Unknown exception".
template <typename Base>
class BaseException : public Base
{
public:
    explicit BaseException(const std::string& text, const std::source_location& where = std::source_location::current())
        : BaseException(text.c_str(), where)
    {
    }

    explicit BaseException(const char* text, const std::source_location& where = std::source_location::current())
        : Base(Detail::FormatBaseText(text, where))
    {
    }
};

/// The runtime exception of all parts of the agent.
using RuntimeException = BaseException<std::runtime_error>;
/// The invalid-argument exception of all parts of the agent.
using InvalidArgumentException = BaseException<std::invalid_argument>;
/// The out-of-range exception.
using OutOfRangeException = BaseException<std::out_of_range>;
/// The logic exception.
using LogicException = BaseException<std::logic_error>;

/// A failed system call.
/// what(): "Exception in function {}() in {}:{}:{}: {} --> {} (error code {:#X})" with function, file, line, column,
/// text, translated code and code; code 0 gives the short form without translation and code.
class Win32Exception : public std::exception
{
public:
    Win32Exception(
        const std::string& text,
        std::uint32_t code,
        const std::source_location& where = std::source_location::current());

    const char* what() const noexcept override;
    std::uint32_t GetCode() const noexcept;

protected:
    /// For subclasses that word their failure differently: `message` is taken as the finished what().
    struct Worded
    {
        std::string message;
        std::uint32_t code;
    };

    explicit Win32Exception(Worded worded) noexcept;

private:
    std::uint32_t m_code;
    std::string m_message;
};

/// A failed COM call.
/// what(): "COM exception in function {}() in {}:{}:{}: {} --> {} (HRESULT {:#X})" with function, file, line, column, text,
/// the translated result and the result; a result of 0 has no form of its own.
class ComException : public std::exception
{
public:
    ComException(
        const std::string& text,
        std::uint32_t hresult,
        const std::source_location& where = std::source_location::current());

    const char* what() const noexcept override;
    std::uint32_t GetResult() const noexcept;

private:
    std::uint32_t m_hresult;
    std::string m_message;
};

/// The text of an NtStatusException, for other classes that tell a failure by its NT status: "Exception in function {}()
/// in {}:{}:{}: {} --> {} (NTSTATUS code {:#X})" with function, file, line, column, text, translated status and status.
std::string FormatNtStatusText(const std::string& text, std::uint32_t status, const std::source_location& where);

/// A failed native call. what() is FormatNtStatusText(); a status of 0 has no form of its own.
class NtStatusException : public std::exception
{
public:
    NtStatusException(
        const std::string& text,
        std::uint32_t status,
        const std::source_location& where = std::source_location::current());

    const char* what() const noexcept override;
    std::uint32_t GetStatus() const noexcept;

private:
    std::uint32_t m_status;
    std::string m_message;
};

/// Ends the process with GetCode() as its exit code.
/// what(): "A fatal error occurred in function {}() of {}:{}:{}: {}".
class FatalException : public std::exception
{
public:
    /// Code of a fatal end that is told in words.
    static constexpr std::int32_t GeneralCode = 1002;
    /// Code of a poll worker that did not end when told to.
    static constexpr std::int32_t WorkerHangsCode = 1001;

    /// Code 1001, "A PollWorker failed to exit in a timely fashion".
    explicit FatalException(const std::source_location& where = std::source_location::current());
    /// Code 1002 and the given text.
    explicit FatalException(
        const std::string& text, const std::source_location& where = std::source_location::current());

    const char* what() const noexcept override;
    virtual std::int32_t GetCode() const noexcept;

private:
    std::int32_t m_code;
    std::string m_message;
};

} // namespace Shared::Exception
