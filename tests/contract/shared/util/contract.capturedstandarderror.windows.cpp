#include "contract.capturedstandarderror.hpp"

#include <array>
#include <cstdio>
#include <stdexcept>

#include "shared.platform-windows.windows.hpp"

#include <fcntl.h>
#include <io.h>

namespace Contract
{

/// Both ways to the stream: the system's handle and the C library's descriptor.
struct CapturedStandardError::State
{
    HANDLE handleBefore = nullptr;
    int descriptorBefore = -1;
    HANDLE reader = nullptr;
    bool isFinished = false;
};

CapturedStandardError::CapturedStandardError() : m_state(std::make_unique<State>())
{
    HANDLE writer = nullptr;
    if (::CreatePipe(&m_state->reader, &writer, nullptr, 65536) == FALSE)
    {
        throw std::runtime_error("CreatePipe() failed");
    }
    std::fflush(stderr);
    m_state->handleBefore = ::GetStdHandle(STD_ERROR_HANDLE);
    m_state->descriptorBefore = ::_dup(2);
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(writer), _O_BINARY);
    ::_dup2(descriptor, 2);
    ::_close(descriptor);
    ::SetStdHandle(STD_ERROR_HANDLE, reinterpret_cast<HANDLE>(::_get_osfhandle(2)));
}

CapturedStandardError::~CapturedStandardError()
{
    Finish();
}

std::string CapturedStandardError::Finish()
{
    std::string text;
    if (!m_state->isFinished)
    {
        m_state->isFinished = true;
        std::fflush(stderr);
        ::_dup2(m_state->descriptorBefore, 2);
        ::_close(m_state->descriptorBefore);
        ::SetStdHandle(STD_ERROR_HANDLE, m_state->handleBefore);
        std::array<char, 512> buffer{};
        DWORD count = 0;
        while (::ReadFile(m_state->reader, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) !=
                   FALSE &&
               count > 0)
        {
            text.append(buffer.data(), count);
        }
        ::CloseHandle(m_state->reader);
    }
    return text;
}

} // namespace Contract
