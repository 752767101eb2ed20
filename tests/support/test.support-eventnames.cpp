#include "test.support-eventnames.hpp"

#include <atomic>
#include <random>

namespace TestSupport
{

std::wstring EventNames::Unique(const std::wstring& stem) const
{
    static const std::wstring OfProcess = std::to_wstring(std::random_device{}());
    static std::atomic<unsigned> s_count{0};
    return stem + L"-" + OfProcess + L"-" + std::to_wstring(++s_count);
}

} // namespace TestSupport
