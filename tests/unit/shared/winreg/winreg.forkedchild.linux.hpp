#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include <sys/types.h>

namespace TestSupport
{

/// One end of a line between two processes.
class ChildLine
{
public:
    explicit ChildLine(int descriptor) noexcept;
    ChildLine(ChildLine&& other) noexcept;
    ChildLine& operator=(ChildLine&&) = delete;
    ~ChildLine();

    void Send(std::uint32_t number) const;
    /// Waits for a number; none when the other end is gone.
    std::optional<std::uint32_t> Receive() const;

private:
    int m_descriptor;
};

/// A second process, forked from the test. What the test's process holds of the settings store is closed first: a
/// connection must not be carried into a child.
class ForkedChild
{
public:
    /// `body` runs in the child, which ends with what it returns; 120 when it throws.
    explicit ForkedChild(const std::function<int(ChildLine&)>& body);
    ForkedChild(const ForkedChild&) = delete;
    ForkedChild& operator=(const ForkedChild&) = delete;
    ~ForkedChild();

    ChildLine& Line();
    /// Ends it as the kernel ends a process, at whatever point it is.
    void Kill();
    /// Waits for the child's end: its exit code, or 128 and the number of the signal that killed it.
    int Join();

private:
    pid_t m_process;
    std::optional<ChildLine> m_line;
};

} // namespace TestSupport
