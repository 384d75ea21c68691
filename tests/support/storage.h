// Storage classes for tests: what a bitmap tells of its storage, thresholds for the time of a scope, a temporary
// directory of one's own.
#pragma once

#include <filesystem>
#include <string>

#include "ravokit/ravokit.h"

namespace test {

struct Info {
    uint32_t memory = 0, tileSize = 0, tiles = 0, conventional = 0, maxViews = 0, views = 0;
    bool operator==(const Info&) const = default;
    explicit Info(const BITMAPRECORD& bm) {
        R_GetBitmapMemoryInfo(&bm, &memory, &tileSize, &tiles, &conventional, &maxViews, &views);
    }
    Info(uint32_t m, uint32_t size, uint32_t n, uint32_t c, uint32_t max, uint32_t v)
        : memory(m), tileSize(size), tiles(n), conventional(c), maxViews(max), views(v) {}
};
inline std::ostream& operator<<(std::ostream& out, const Info& i) {
    return out << "type " << i.memory << ", tiles of " << i.tileSize << " x " << i.tiles << ", memory "
               << i.conventional << ", views " << i.views << " of " << i.maxViews;
}

// The thread's thresholds and the process's limit are as at the start again with the scope's end.
class ThresholdScope {
    int32_t m_old[5];

public:
    ThresholdScope() { R_GetMemoryThresholds(m_old, m_old + 1, m_old + 2, m_old + 3, m_old + 4); }
    ThresholdScope(const ThresholdScope&) = delete;
    ThresholdScope& operator=(const ThresholdScope&) = delete;
    ~ThresholdScope() {
        R_SetMemoryThresholds(m_old[0], m_old[1], m_old[2], m_old[3], m_old[4], 31);
        R_SetGlobalMemoryThresholds(nullptr);
    }
};

// Temporary files go to a directory of their own, which can be taken away so that none can be made.
class TempDirectory {
    std::u16string m_old = std::u16string(RV_TEMP_NAME_SIZE, u'\0');
    std::filesystem::path m_path;

public:
    TempDirectory() {
        R_GetTempDirectory(m_old.data(), RV_TEMP_NAME_SIZE);
        std::string name = (std::filesystem::temp_directory_path() / "ravokitXXXXXX").string();
        m_path = mkdtemp(name.data());
        R_SetTempDirectory(m_path.u16string().c_str());
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() {
        std::filesystem::remove_all(m_path);
        R_SetTempDirectory(m_old.c_str());
    }
    bool isEmpty() const { return std::filesystem::is_empty(m_path); }
    void remove() const { std::filesystem::remove(m_path); }
};

// Temporary files are off for the time of a scope.
class FilesOff {
    TEMPFILEOPTIONS m_options{};

public:
    FilesOff() {
        R_GetTempFileOptions(&m_options, sizeof m_options);
        TEMPFILEOPTIONS off = m_options;
        off.uMode = 3;
        R_SetTempFileOptions(&off);
    }
    FilesOff(const FilesOff&) = delete;
    FilesOff& operator=(const FilesOff&) = delete;
    ~FilesOff() { R_SetTempFileOptions(&m_options); }
};

inline long openFiles() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

}  // namespace test
