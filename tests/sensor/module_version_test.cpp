// Reading the stamped version back from a library file: the note is found
// in a real build, and files without it give nothing.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "sensor/module_version.h"

namespace kavix::sensor {
namespace {

TEST(ModuleVersionTest, FoundInTheFileOfTheRunningCode) {
    const std::string path = own_module_path();
    ASSERT_FALSE(path.empty());
    ModuleVersion version;
    ASSERT_TRUE(read_module_version(path, version)) << path;
    EXPECT_EQ(version.file_high, (KAVIX_TEST_VERSION_MAJOR << 16) | KAVIX_TEST_VERSION_MINOR);
    EXPECT_EQ(version.file_low, uint32_t{KAVIX_TEST_VERSION_PATCH} << 16);
    EXPECT_EQ(version.product_high, version.file_high);
    EXPECT_EQ(version.product_low, version.file_low);
}

TEST(ModuleVersionTest, FilesWithoutTheNote) {
    const auto dir = std::filesystem::temp_directory_path();
    const auto text = dir / "kavix-module-version-test.txt";
    { std::ofstream(text) << "not an ELF file at all, but long enough to look at its head\n"; }
    ModuleVersion version{1, 2, 3, 4};
    EXPECT_FALSE(read_module_version(text.string(), version));
    EXPECT_EQ(version.file_high, 1u) << "untouched";
    EXPECT_FALSE(read_module_version((dir / "no-such-file-kavix").string(), version));
    EXPECT_FALSE(read_module_version("", version));
    std::filesystem::remove(text);
    // A real ELF file that carries other notes only.
    for (const char *candidate : {"/bin/sh", "/usr/bin/env"}) {
        if (std::filesystem::exists(candidate)) {
            EXPECT_FALSE(read_module_version(candidate, version)) << candidate;
        }
    }
    // A truncated copy of a file that has the note.
    const std::string own = own_module_path();
    const auto cut = dir / "kavix-module-version-cut.so";
    {
        std::ifstream in(own, std::ios::binary);
        std::vector<char> head(64);
        in.read(head.data(), 64);
        std::ofstream(cut, std::ios::binary).write(head.data(), 64);
    }
    EXPECT_FALSE(read_module_version(cut.string(), version));
    std::filesystem::remove(cut);
}

}  // namespace
}  // namespace kavix::sensor
