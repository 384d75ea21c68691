// A directory of its own for the library's temporary files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "ravokit/ravokit.h"

namespace test {

// A directory for temporary files that goes with its test.
class TemporaryDirectory {
    std::u16string m_old = std::u16string(RV_TEMP_NAME_SIZE, 0);
    std::string m_path = inMemory() + "/ravokit.XXXXXX";

    // Where there is a file system in memory, the many files of these tests cost next to nothing.
    static std::string inMemory() {
        const char* pShared = "/dev/shm";
        return access(pShared, W_OK) == 0 ? pShared : std::filesystem::temp_directory_path().string();
    }

public:
    TemporaryDirectory() {
        R_GetTempDirectory(m_old.data(), RV_TEMP_NAME_SIZE);
        EXPECT_NE(mkdtemp(m_path.data()), nullptr);
        EXPECT_EQ(R_SetTempDirectory(std::filesystem::path(m_path).u16string().c_str()), 1);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        R_SetTempDirectory(m_old.c_str());
        remove();
    }
    void remove() { std::filesystem::remove_all(m_path); }
    bool isEmpty() const { return std::filesystem::is_empty(m_path); }
};

}  // namespace test
