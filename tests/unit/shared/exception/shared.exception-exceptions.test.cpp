#include "shared.exception-exceptions.hpp"

#include <concepts>
#include <exception>
#include <source_location>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "shared.exception-errortext.hpp"

using namespace Shared::Exception;

namespace
{

/// The four values of a place in the order of all forms but BaseException's, which begins with the same.
std::string Place(const std::source_location& where, const char* form)
{
    return fmt::format(fmt::runtime(form), "TestBody", where.file_name(), where.line(), where.column());
}

/// What catching by the standard's own base gives.
template <typename Base, typename Thrown>
std::string CaughtAs(const Thrown& thrown)
{
    try
    {
        throw thrown; // NOLINT(misc-throw-by-value-catch-by-reference)
    }
    catch (const Base& exception)
    {
        return exception.what();
    }
}

/// A subclass with words of its own, as the pipes and the messaging have.
class OwnWords : public Win32Exception
{
public:
    OwnWords() : Win32Exception(Worded{"the finished text", 7})
    {
    }
};

} // namespace

TEST(BaseExceptionTest, TellsFunctionFileLineColumnAndTextInThisOrder)
{
    const auto where = std::source_location::current();
    const RuntimeException exception("it went wrong", where);
    EXPECT_EQ(exception.what(), Place(where, "Exception in {}() at {}:{}:{}") + " --> it went wrong");
}

TEST(BaseExceptionTest, FindsItsPlaceItself)
{
    const auto before = std::source_location::current();
    const RuntimeException exception("text");
    const std::string what = exception.what();
    EXPECT_NE(
        what.find(fmt::format("Exception in TestBody() at {}:{}:", before.file_name(), before.line() + 1)),
        std::string::npos)
        << what;
}

TEST(BaseExceptionTest, ANullTextGivesUnknownException)
{
    const auto where = std::source_location::current();
    const char* none = nullptr;
    EXPECT_EQ(
        RuntimeException(none, where).what(), Place(where, "Exception in {}() at {}:{}:{}") + " --> Unknown exception");
    EXPECT_EQ(
        InvalidArgumentException(none, where).what(),
        Place(where, "Exception in {}() at {}:{}:{}") + " --> Unknown exception");
}

TEST(BaseExceptionTest, BracesAndPercentSignsInTheTextStayAsTheyAre)
{
    const auto where = std::source_location::current();
    EXPECT_EQ(
        RuntimeException("{} %s {0}", where).what(), Place(where, "Exception in {}() at {}:{}:{}") + " --> {} %s {0}");
}

TEST(BaseExceptionTest, IsCaughtByTheStandardExceptionThatItIsMadeFor)
{
    const auto where = std::source_location::current();
    const auto text = Place(where, "Exception in {}() at {}:{}:{}") + " --> text";
    EXPECT_EQ(CaughtAs<std::runtime_error>(RuntimeException("text", where)), text);
    EXPECT_EQ(CaughtAs<std::invalid_argument>(InvalidArgumentException("text", where)), text);
    EXPECT_EQ(CaughtAs<std::out_of_range>(OutOfRangeException("text", where)), text);
    EXPECT_EQ(CaughtAs<std::logic_error>(LogicException("text", where)), text);
    EXPECT_EQ(CaughtAs<std::exception>(InvalidArgumentException("text", where)), text);
    static_assert(!std::derived_from<InvalidArgumentException, std::runtime_error>);
    static_assert(!std::derived_from<Win32Exception, std::runtime_error>);
}

TEST(BaseExceptionTest, TheTextOutlivesACopy)
{
    const auto where = std::source_location::current();
    const auto original = new RuntimeException("text", where);
    const RuntimeException copy = *original;
    delete original;
    EXPECT_EQ(copy.what(), Place(where, "Exception in {}() at {}:{}:{}") + " --> text");
}

TEST(Win32ExceptionTest, TellsPlaceTextTranslationAndCodeInHexadecimal)
{
    const auto where = std::source_location::current();
    const Win32Exception exception("Call() failed", 5, where);
    EXPECT_EQ(
        exception.what(),
        Place(where, "Exception in function {}() in {}:{}:{}") + ": Call() failed --> " + TranslateWin32Error(5) +
            " (error code 0X5)");
    EXPECT_EQ(exception.GetCode(), 5U);
}

TEST(Win32ExceptionTest, WritesALargeCodeInCapitals)
{
    const auto where = std::source_location::current();
    const Win32Exception exception("Call() failed", 0x8007000E, where);
    const std::string what = exception.what();
    EXPECT_TRUE(what.ends_with(" (error code 0X8007000E)")) << what;
    EXPECT_EQ(exception.GetCode(), 0x8007000EU);
}

TEST(Win32ExceptionTest, CodeZeroHasTheShortForm)
{
    const auto where = std::source_location::current();
    const Win32Exception exception("Call() failed", 0, where);
    EXPECT_EQ(exception.what(), Place(where, "Exception in function {}() in {}:{}:{}") + ": Call() failed");
    EXPECT_EQ(exception.GetCode(), 0U);
}

TEST(Win32ExceptionTest, ASubclassMayWordItsFailureItself)
{
    const OwnWords exception;
    EXPECT_STREQ(exception.what(), "the finished text");
    EXPECT_EQ(exception.GetCode(), 7U);
    EXPECT_EQ(CaughtAs<Win32Exception>(exception), "the finished text");
}

TEST(ComExceptionTest, TellsPlaceTextTranslationAndResult)
{
    const auto where = std::source_location::current();
    const ComException exception("CoCreateGuid() failed", 0x80004005, where);
    EXPECT_EQ(
        exception.what(),
        Place(where, "COM exception in function {}() in {}:{}:{}") + ": CoCreateGuid() failed --> " +
            TranslateWin32Error(0x80004005) + " (HRESULT 0X80004005)");
    EXPECT_EQ(exception.GetResult(), 0x80004005U);
}

TEST(ComExceptionTest, ResultZeroKeepsTheLongForm)
{
    const auto where = std::source_location::current();
    const ComException exception("text", 0, where);
    EXPECT_EQ(
        exception.what(),
        Place(where, "COM exception in function {}() in {}:{}:{}") + ": text --> " + TranslateWin32Error(0) +
            " (HRESULT 0X0)");
}

TEST(NtStatusExceptionTest, TellsPlaceTextTranslationAndStatus)
{
    const auto where = std::source_location::current();
    const NtStatusException exception("NtSuspendProcess() failed", 0xC0000022, where);
    EXPECT_EQ(
        exception.what(),
        Place(where, "Exception in function {}() in {}:{}:{}") + ": NtSuspendProcess() failed --> " +
            TranslateNtStatus(0xC0000022) + " (NTSTATUS code 0XC0000022)");
    EXPECT_EQ(exception.GetStatus(), 0xC0000022U);
}

TEST(NtStatusExceptionTest, ItsTextCanBeHadForOtherClasses)
{
    const auto where = std::source_location::current();
    EXPECT_EQ(FormatNtStatusText("text", 0x103, where), NtStatusException("text", 0x103, where).what());
}

TEST(FatalExceptionTest, WithoutATextAWorkerHangs)
{
    const auto where = std::source_location::current();
    const FatalException exception(where);
    EXPECT_EQ(
        exception.what(),
        Place(where, "A fatal error occurred in function {}() of {}:{}:{}") +
            ": A PollWorker failed to exit in a timely fashion");
    EXPECT_EQ(exception.GetCode(), 1001);
}

TEST(FatalExceptionTest, WithATextTheEndIsAGeneralOne)
{
    const auto where = std::source_location::current();
    const FatalException exception("PollWorker exited early", where);
    EXPECT_EQ(
        exception.what(),
        Place(where, "A fatal error occurred in function {}() of {}:{}:{}") + ": PollWorker exited early");
    EXPECT_EQ(exception.GetCode(), 1002);
}

TEST(Win32ExceptionTest, ACopySaysTheSame)
{
    static_assert(std::is_nothrow_destructible_v<Win32Exception>);
    static_assert(std::is_copy_constructible_v<Win32Exception>);
    const Win32Exception original("text", 2);
    const Win32Exception copy(original);
    EXPECT_STREQ(copy.what(), original.what());
    EXPECT_EQ(copy.GetCode(), 2U);
}
