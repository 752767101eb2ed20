#pragma once

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace Lab::Tools
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

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor()
    {
        Close();
    }

    int Get() const noexcept
    {
        return m_number;
    }

    /// Safe to repeat.
    void Close() noexcept
    {
        if (m_number >= 0)
        {
            ::close(m_number);
        }
        m_number = -1;
    }

private:
    int m_number;
};

} // namespace Lab::Tools
