#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Contract
{

/// What the child program (contract.concurrencychild-program.cpp) ends with.
namespace ChildCode
{
inline constexpr std::uint32_t Yes = 0;
inline constexpr std::uint32_t No = 1;
inline constexpr std::uint32_t Usage = 2;
} // namespace ChildCode

/// One running child program. Ended and collected on destruction at the latest.
class ConcurrencyChild
{
public:
    /// Starts it with these arguments. Inheritable handles of this process go to it. Throws std::system_error.
    explicit ConcurrencyChild(const std::vector<std::wstring>& arguments);
    ConcurrencyChild(const ConcurrencyChild&) = delete;
    ConcurrencyChild& operator=(const ConcurrencyChild&) = delete;
    ~ConcurrencyChild();

    std::uint32_t Id() const noexcept;
    /// Signalled once the child has ended; owned here.
    Shared::Raii::RawHandle Handle() const noexcept;
    /// Ends it without a word and waits until it has ended.
    void Kill();
    /// Waits until it has ended by itself; its exit code.
    std::uint32_t Wait();

    /// File name of the program, without folder.
    static std::wstring ProgramName();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// A handle as a word of a command line.
std::wstring ToWord(Shared::Raii::RawHandle handle);

/// Facts of the test's own process.
std::uint32_t OwnId();
/// File name of its executable, without folder.
std::wstring OwnProgramName();

} // namespace Contract
