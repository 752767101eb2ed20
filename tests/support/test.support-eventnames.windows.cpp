#include "test.support-eventnames.hpp"

namespace TestSupport
{

struct EventNames::State
{
};

EventNames::EventNames() = default;

EventNames::~EventNames() = default;

std::string EventNames::Folder() const
{
    return {};
}

} // namespace TestSupport
