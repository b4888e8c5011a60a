#include "platform/FileManager.hpp"
#include "tests/support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <optional>

namespace {

/// The allocation of this thread that fails, counted down; none at 0.
thread_local int failing = 0;

} // namespace

void* operator new(std::size_t size) {
    void* memory = failing > 0 && --failing == 0 ? nullptr : std::malloc(size > 0 ? size : 1);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

std::optional<std::string> listWithout(const std::filesystem::path& folder, int failingAllocation) {
    const platform::FileManager files;
    failing = failingAllocation;
    try {
        std::string list = files.hiddenListWithout(folder);
        return list;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

TEST(HiddenList, LosesNoLineWhenMemoryEnds) {
    const tests::TemporaryFolder home;
    const std::string before = "a name that is too long to lie in the string itself\n";
    const std::string after = "another name that is too long to lie in the string itself\n";
    tests::writeFile(home.path() / ".hidden", before + "Older\n" + after);
    int failures = 0;
    for (int number = 1;; ++number) {
        const std::optional<std::string> list = listWithout(home.path() / "Older", number);
        const bool hasFailed = failing == 0;
        failing = 0;
        if (list) {
            EXPECT_EQ(*list, before + after) << "with allocation " << number << " failing";
        } else {
            ++failures;
        }
        if (!hasFailed) {
            break;
        }
    }
    EXPECT_GT(failures, 3);
}

} // namespace
