#include "test.log-capturedstream.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

#include "shared.platform-windows.windows.hpp"

#include <fcntl.h>
#include <io.h>

namespace LogTests
{

/// Both ways to the stream: the system's handle and the C library's descriptor.
struct CapturedStream::State
{
    int descriptor;
    std::FILE* stream;
    DWORD standardHandle;
    HANDLE handleBefore = nullptr;
    int descriptorBefore = -1;
    HANDLE file = nullptr;
    std::wstring fileName;
    std::string text;
};

CapturedStream::CapturedStream(Which which) : m_state(std::make_unique<State>())
{
    const bool isOutput = which == Which::Output;
    m_state->descriptor = static_cast<int>(which);
    m_state->stream = isOutput ? stdout : stderr;
    m_state->standardHandle = isOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE;
    m_state->fileName =
        (std::filesystem::temp_directory_path() / ("vel-captured-" + std::to_string(std::random_device{}()))).native();
    // Append, so that nobody's reading moves the place at which is written.
    constexpr DWORD Share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE writer = ::CreateFileW(
        m_state->fileName.c_str(), FILE_APPEND_DATA | SYNCHRONIZE, Share, nullptr, CREATE_ALWAYS, 0, nullptr);
    m_state->file = ::CreateFileW(m_state->fileName.c_str(), GENERIC_READ, Share, nullptr, OPEN_EXISTING, 0, nullptr);
    if (writer == INVALID_HANDLE_VALUE || m_state->file == INVALID_HANDLE_VALUE)
    {
        throw std::runtime_error("the stream cannot be captured");
    }
    std::fflush(m_state->stream);
    m_state->handleBefore = ::GetStdHandle(m_state->standardHandle);
    m_state->descriptorBefore = ::_dup(m_state->descriptor);
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(writer), _O_BINARY | _O_APPEND);
    ::_dup2(descriptor, m_state->descriptor);
    ::_close(descriptor);
    ::SetStdHandle(m_state->standardHandle, reinterpret_cast<HANDLE>(::_get_osfhandle(m_state->descriptor)));
}

CapturedStream::~CapturedStream()
{
    Finish();
}

std::string CapturedStream::Text()
{
    std::fflush(m_state->stream);
    ::SetFilePointer(m_state->file, 0, nullptr, FILE_BEGIN);
    std::array<char, 4096> buffer{};
    std::string text;
    DWORD count = 0;
    while (::ReadFile(m_state->file, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) != FALSE &&
           count > 0)
    {
        text.append(buffer.data(), count);
    }
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

std::string CapturedStream::Finish()
{
    if (m_state->file != nullptr)
    {
        m_state->text = Text();
        ::_dup2(m_state->descriptorBefore, m_state->descriptor);
        ::_close(m_state->descriptorBefore);
        ::SetStdHandle(m_state->standardHandle, m_state->handleBefore);
        ::CloseHandle(m_state->file);
        ::DeleteFileW(m_state->fileName.c_str());
        m_state->file = nullptr;
    }
    return m_state->text;
}

} // namespace LogTests
