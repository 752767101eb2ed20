#include "shared.crypto-evp.linux.hpp"

#include "shared.crypto-aes.hpp"
#include "shared.crypto-functions.hpp"
#include "shared.crypto-sha256.hpp"
#include "shared.crypto-status.hpp"
#include "shared.exception-exceptions.hpp"

#include <string>

#include <gmock/gmock.h>

#include <openssl/err.h>
#include <openssl/evp.h>

namespace
{

using Shared::Exception::NtStatusException;
using testing::HasSubstr;
namespace Crypto = Shared::Crypto;
namespace Status = Shared::Crypto::Status;

/// From construction to destruction the library finds no algorithm, as where a policy of the machine leaves none.
class NoAlgorithms
{
public:
    NoAlgorithms()
    {
        EVP_set_default_properties(nullptr, "provider=none");
    }

    NoAlgorithms(const NoAlgorithms&) = delete;
    NoAlgorithms& operator=(const NoAlgorithms&) = delete;

    ~NoAlgorithms()
    {
        EVP_set_default_properties(nullptr, "");
    }
};

template <typename Call>
void ExpectNotFound(const Call& call)
{
    try
    {
        call();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const NtStatusException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), Status::NotFound);
        EXPECT_THAT(
            exception.what(),
            HasSubstr(": BCryptOpenAlgorithmProvider failed --> The object was not found. (NTSTATUS"));
    }
}

TEST(EvpTest, AnAlgorithmThatTheMachineDoesNotHaveIsAFailureOfItsProvider)
{
    const NoAlgorithms none;
    ExpectNotFound([] { const Crypto::Sha256 digest("text"); });
    ExpectNotFound([] { const Crypto::Aes aes(Crypto::SensitiveBytes(32)); });
    ExpectNotFound([] { (void)Crypto::Encrypt("text", "key"); });
}

TEST(EvpTest, AFailureLeavesNoErrorOfTheLibraryBehind)
{
    {
        const NoAlgorithms none;
        EXPECT_THROW((void)Crypto::Encrypt("text", "key"), NtStatusException);
    }
    EXPECT_EQ(ERR_peek_error(), 0U);
    EXPECT_THROW((void)Crypto::Decrypt(Crypto::Encrypt("text", "key"), "another key"), NtStatusException);
    EXPECT_EQ(ERR_peek_error(), 0U);
    EXPECT_EQ(Crypto::Decrypt(Crypto::Encrypt("text", "key"), "key").GetView(), "text");
}

TEST(EvpTest, ATextThatDoesNotOpenIsAnErrorInItsData)
{
    try
    {
        (void)Crypto::Decrypt(Crypto::Encrypt("text", "key"), "another key");
        ADD_FAILURE() << "opened";
    }
    catch (const NtStatusException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), Status::DataError);
        EXPECT_THAT(exception.what(), HasSubstr(": BCryptDecrypt failed --> The data is damaged. (NTSTATUS"));
    }
}

TEST(EvpTest, LackOfMemoryIsToldAsThatWhateverFailed)
{
    ERR_raise(ERR_LIB_EVP, ERR_R_MALLOC_FAILURE);
    try
    {
        Crypto::Evp::ThrowFailure("BCryptEncrypt failed", Status::Unsuccessful);
    }
    catch (const NtStatusException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), Status::NoMemory);
    }
    EXPECT_EQ(ERR_peek_error(), 0U);
}

} // namespace
