#pragma once
// Small helpers shared by the tool's unit tests.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

namespace orvane_test {

// Expects `got` to equal `expected` bit for bit (signs of zero included).
inline void expectSameBits(std::vector<double> const &got, std::vector<double> const &expected) {
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        EXPECT_EQ(std::memcmp(&got[i], &expected[i], sizeof(double)), 0) << "value " << i << ": " << got[i] << " vs " << expected[i];
}

// A fresh folder under the system's temporary folder, removed with everything in it.
struct TempDir {
    std::filesystem::path path;
    explicit TempDir(std::string const &name)
        : path(std::filesystem::temp_directory_path() / ("orvane-" + name + "-" + std::to_string(::getpid()))) {
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string operator/(std::string const &name) const { return (path / name).string(); }
    bool empty() const { return std::filesystem::is_empty(path); }
};

}  // namespace orvane_test
