// A folder for the files of a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace support {

// A folder that goes with the test.
class Folder {
    std::string m_path;

public:
    explicit Folder(const char* pParent) {
        std::string path = std::string(pParent) + "/objects\u00E9-XXXXXX";
        if (mkdtemp(path.data())) m_path = path;
    }
    Folder(const Folder&) = delete;
    ~Folder() {
        std::error_code error;
        if (!m_path.empty()) std::filesystem::remove_all(m_path, error);
    }
    explicit operator bool() const { return !m_path.empty(); }
    std::string narrow(const char* pName) const { return m_path + "/" + pName; }
    std::u16string operator()(const char* pName) const { return std::filesystem::path(narrow(pName)).u16string(); }
    std::string contents(const char* pName) const {
        std::ifstream file(narrow(pName), std::ios::binary);
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "missing";
    }
    void write(const char* pName, const std::string& text) const {
        std::ofstream(narrow(pName), std::ios::binary) << text;
    }
    size_t count() const {
        return size_t(
            std::distance(std::filesystem::directory_iterator(m_path), std::filesystem::directory_iterator()));
    }
};

}  // namespace support
