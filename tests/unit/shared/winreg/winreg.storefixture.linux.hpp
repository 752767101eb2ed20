#pragma once

#include "shared.exception-exceptions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "shared.winreg-store.linux.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// The store's file as an outsider has it: a connection without any of the product's care.
class RawDatabase
{
public:
    explicit RawDatabase(const std::string& path);
    RawDatabase(const RawDatabase&) = delete;
    RawDatabase& operator=(const RawDatabase&) = delete;
    ~RawDatabase();

    /// Runs statements; a failure fails the test.
    void Run(const std::string& sql);
    /// First column of the first row, as text.
    std::string Query(const std::string& sql);

private:
    void* m_database = nullptr;
};

/// A store with one key, and the log.
class SettingsStoreTest : public testing::Test
{
protected:
    static constexpr auto Machine = Shared::WinReg::Root::LocalMachine;
    inline static const std::wstring Key = L"SOFTWARE\\Tarvane\\VEL";

    void SetUp() override;
    void TearDown() override;

    /// Code of the exception that reading the text throws; 0 when it can be read.
    static std::uint32_t CodeOfReading(const std::wstring& name, const std::wstring& path = Key);
    static std::uint32_t CodeOfReadingNumber(const std::wstring& name);
    static std::uint32_t CodeOfWriting(const std::wstring& name, const std::wstring& value = L"text");
    /// what() of the exception that writing throws.
    static std::string FailureOfWriting(const std::wstring& name);

    std::size_t CountErrors(const std::string& part) const;

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    std::string m_path = m_store.GetPath();
    std::filesystem::path m_folder = std::filesystem::path(m_path).parent_path();
};

std::vector<char> ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, const std::vector<char>& bytes);

/// Makes this process one that permissions bind. Only for a child that ends soon.
void BecomeOrdinaryUser();
