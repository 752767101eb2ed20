#include "test.crypto-releasedmemory.hpp"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <new>

namespace
{

/// In front of each block: its size. As large as the strictest alignment that the plain operators promise.
constexpr std::size_t HeaderSize = __STDCPP_DEFAULT_NEW_ALIGNMENT__;

struct Wanted
{
    std::mutex mutex;
    std::string narrow;
    std::wstring wide;
    std::size_t found = 0;
};

std::atomic<Wanted*> s_wanted{nullptr};

template <typename Char>
bool Holds(const void* memory, std::size_t bytes, const std::basic_string<Char>& text)
{
    const auto* const begin = static_cast<const unsigned char*>(memory);
    const auto* const wanted = reinterpret_cast<const unsigned char*>(text.data());
    return std::search(begin, begin + bytes, wanted, wanted + text.size() * sizeof(Char)) != begin + bytes;
}

void* Allocate(std::size_t bytes)
{
    auto* const block = static_cast<unsigned char*>(std::malloc(bytes + HeaderSize));
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    *reinterpret_cast<std::size_t*>(block) = bytes;
    return block + HeaderSize;
}

void Release(void* memory) noexcept
{
    if (memory == nullptr)
    {
        return;
    }
    unsigned char* const block = static_cast<unsigned char*>(memory) - HeaderSize;
    if (Wanted* const wanted = s_wanted.load())
    {
        const std::lock_guard lock(wanted->mutex);
        const std::size_t bytes = *reinterpret_cast<const std::size_t*>(block);
        wanted->found += Holds(memory, bytes, wanted->narrow) || Holds(memory, bytes, wanted->wide) ? 1 : 0;
    }
    std::free(block);
}

} // namespace

void* operator new(std::size_t bytes)
{
    return Allocate(bytes);
}

void* operator new[](std::size_t bytes)
{
    return Allocate(bytes);
}

void operator delete(void* memory) noexcept
{
    Release(memory);
}

void operator delete[](void* memory) noexcept
{
    Release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    Release(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    Release(memory);
}

namespace CryptoTest
{

ReleasedMemory::ReleasedMemory(const std::string& text)
{
    auto* const wanted = new Wanted;
    wanted->narrow = text;
    wanted->wide.assign(text.begin(), text.end());
    s_wanted = wanted;
}

ReleasedMemory::~ReleasedMemory()
{
    delete s_wanted.exchange(nullptr);
}

std::size_t ReleasedMemory::CountHolding() const noexcept
{
    Wanted* const wanted = s_wanted.load();
    const std::lock_guard lock(wanted->mutex);
    return wanted->found;
}

} // namespace CryptoTest
