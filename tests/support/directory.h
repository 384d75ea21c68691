// A directory of its own for the library's temporary files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "ravokit/ravokit.h"
#include "support/folder.h"

namespace test {

// The library's directory for temporary files, for the time of a scope; it goes with it.
class TemporaryDirectory {
    std::u16string m_old = std::u16string(RV_TEMP_NAME_SIZE, 0);
    // Where there is a file system in memory, the many files of these tests cost next to nothing.
    const support::Folder m_folder{access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                                 : std::filesystem::temp_directory_path().c_str()};

public:
    TemporaryDirectory() {
        R_GetTempDirectory(m_old.data(), RV_TEMP_NAME_SIZE);
        EXPECT_EQ(R_SetTempDirectory(m_folder("").c_str()), 1);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() { R_SetTempDirectory(m_old.c_str()); }
    void remove() { std::filesystem::remove_all(m_folder.narrow("")); }
    bool isEmpty() const { return m_folder.count() == 0; }
};

}  // namespace test
