#include "shared.ipc-pipeioexception.hpp"

#include "shared.exception-errortext.hpp"

#include <source_location>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

using Shared::Ipc::PipeIoException;

namespace
{

std::string Place(const std::source_location& where)
{
    return fmt::format(
        "Exception in function TestBody() in {}:{}:{}: ", where.file_name(), where.line(), where.column());
}

} // namespace

TEST(PipeIoExceptionTest, TellsAnErrorCodeAsItsBaseDoes)
{
    const auto where = std::source_location::current();
    const PipeIoException exception("ReadFile() failed", 109, where);
    EXPECT_EQ(
        exception.what(),
        Place(where) + "ReadFile() failed --> " + Shared::Exception::TranslateWin32Error(109) + " (error code 0X6D)");
    EXPECT_EQ(exception.GetCode(), 109U);
}

TEST(PipeIoExceptionTest, CodeZeroHasTheShortForm)
{
    const auto where = std::source_location::current();
    const PipeIoException exception("it took too long", 0, where);
    EXPECT_EQ(exception.what(), Place(where) + "it took too long");
    EXPECT_EQ(exception.GetCode(), 0U);
}

TEST(PipeIoExceptionTest, TellsAStatusAsAnNtStatusExceptionDoes)
{
    const auto where = std::source_location::current();
    const PipeIoException exception = PipeIoException::FromStatus("Connect failed", 0xC000014B, where);
    EXPECT_EQ(
        exception.what(),
        Place(where) + "Connect failed --> " + Shared::Exception::TranslateNtStatus(0xC000014B) +
            " (NTSTATUS code 0XC000014B)");
    EXPECT_EQ(exception.GetCode(), 0xC000014BU);
}

TEST(PipeIoExceptionTest, FindsItsPlaceItself)
{
    const auto before = std::source_location::current();
    const std::string byCode = PipeIoException("text", 5).what();
    const std::string byStatus = PipeIoException::FromStatus("text", 5).what();
    EXPECT_NE(byCode.find(fmt::format("{}:{}:", before.file_name(), before.line() + 1)), std::string::npos) << byCode;
    EXPECT_NE(byStatus.find(fmt::format("{}:{}:", before.file_name(), before.line() + 2)), std::string::npos)
        << byStatus;
}

TEST(PipeIoExceptionTest, IsCaughtAsAWin32Exception)
{
    EXPECT_THROW(throw PipeIoException("text", 1), Shared::Exception::Win32Exception);
    EXPECT_THROW(throw PipeIoException::FromStatus("text", 1), PipeIoException);
}
