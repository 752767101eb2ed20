#pragma once

#include <cerrno>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace TestSupport
{

/// An open file or socket, closed with the object.
class Descriptor
{
public:
    /// Throws std::system_error, with the calling thread's errno and `what`, for a number that is none.
    Descriptor(int number, const char* what) : m_number(number)
    {
        if (m_number < 0)
        {
            throw std::system_error(errno, std::generic_category(), what);
        }
    }

    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1))
    {
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    ~Descriptor()
    {
        if (m_number >= 0)
        {
            ::close(m_number);
        }
    }

    int Get() const noexcept
    {
        return m_number;
    }

private:
    int m_number;
};

} // namespace TestSupport
