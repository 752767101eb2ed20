#pragma once

#include <cstddef>
#include <string>

namespace CryptoTest
{

/// From construction to destruction, every block that this process gives back by `delete` is looked through before: for
/// the text in narrow and in wide characters. One at a time.
///
/// The program that this is linked to has operators new and delete of its own for it.
class ReleasedMemory
{
public:
    explicit ReleasedMemory(const std::string& text);
    ReleasedMemory(const ReleasedMemory&) = delete;
    ReleasedMemory& operator=(const ReleasedMemory&) = delete;
    ~ReleasedMemory();

    /// How many blocks that held the text were given back.
    std::size_t CountHolding() const noexcept;
};

} // namespace CryptoTest
