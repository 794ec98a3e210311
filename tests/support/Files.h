/// @file
/// Files that a test writes and reads.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kq::test {

/// A folder of a test's own, removed after it.
class TemporaryFolder {
public:
    TemporaryFolder() : m_path((std::filesystem::temp_directory_path() / "kq-test-XXXXXX").string()) {
        m_path = mkdtemp(m_path.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(m_path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    /// @return the path of a file in the folder
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    std::size_t CountFiles() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_path), {}));
    }

private:
    std::string m_path;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// @return the path
inline std::string WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

} // namespace kq::test
