#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Shared::Crypto
{

/// Overwrites `bytes` bytes at `memory` with zeros. The writes happen whatever an optimiser knows of the memory's future.
void Wipe(void* memory, std::size_t bytes) noexcept;

/// The standard allocator, but what it takes back is wiped first: a container with it leaves nothing behind when it
/// grows, moves or dies. For containers without storage of their own inside: std::vector, not std::basic_string.
template <typename T>
class WipingAllocator
{
public:
    // NOLINTNEXTLINE(readability-identifier-naming): the name is the language's
    using value_type = T;

    WipingAllocator() noexcept = default;

    template <typename Other>
    // NOLINTNEXTLINE(google-explicit-constructor): what containers expect of an allocator
    WipingAllocator(const WipingAllocator<Other>&) noexcept
    {
    }

    // NOLINTNEXTLINE(readability-identifier-naming): the name is the language's
    T* allocate(std::size_t count)
    {
        return std::allocator<T>().allocate(count);
    }

    // NOLINTNEXTLINE(readability-identifier-naming): the name is the language's
    void deallocate(T* memory, std::size_t count) noexcept
    {
        Wipe(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }

    friend bool operator==(const WipingAllocator&, const WipingAllocator&) noexcept
    {
        return true;
    }
};

/// Bytes that nobody is to find in released memory: keys, digests of keys, deciphered texts.
using SensitiveBytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

/// Wipes a string of someone else's when it goes out of scope: for the one copy that a library's interface asks for.
template <typename Char>
class WipeOnExit
{
public:
    explicit WipeOnExit(std::basic_string<Char>& text) noexcept : e_text(text)
    {
    }

    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

    ~WipeOnExit()
    {
        Wipe(e_text.data(), e_text.size() * sizeof(Char));
    }

private:
    std::basic_string<Char>& e_text;
};

} // namespace Shared::Crypto
