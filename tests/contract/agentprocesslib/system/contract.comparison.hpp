#pragma once

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace Contract
{

/// What was measured beside what others say, which the test's output shows as a table. What was measured must lie in the
/// range of what others say.
class Comparison
{
public:
    explicit Comparison(std::string title) : m_title(std::move(title))
    {
    }

    Comparison(const Comparison&) = delete;
    Comparison& operator=(const Comparison&) = delete;

    ~Comparison()
    {
        std::cout << fmt::format("{}\n  {:<48} {:>16} {:>16} {:>16}\n", m_title, "", "measured", "at least", "at most");
        for (const auto& row : m_rows)
        {
            std::cout << fmt::format(
                "  {:<48} {:>16.2f} {:>16.2f} {:>16.2f}\n", row.what, row.measured, row.least, row.most);
        }
        std::cout << std::flush;
    }

    /// @param least, most the range.
    void Add(const std::string& what, double measured, double least, double most)
    {
        m_rows.push_back({what, measured, least, most});
        EXPECT_GE(measured, least) << what;
        EXPECT_LE(measured, most) << what;
    }

private:
    struct Row
    {
        std::string what;
        double measured;
        double least;
        double most;
    };

    std::string m_title;
    std::vector<Row> m_rows;
};

} // namespace Contract
