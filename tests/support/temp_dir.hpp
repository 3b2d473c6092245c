// temp_dir.hpp - a directory of its own for a test, removed with all that is in it.
#ifndef TESTS_SUPPORT_TEMP_DIR_HPP
#define TESTS_SUPPORT_TEMP_DIR_HPP

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

class temp_dir {
public:
    temp_dir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "orsik-test-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot make a directory like " + pattern);
        path_ = std::filesystem::canonical(pattern);
    }
    ~temp_dir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temp_dir(const temp_dir &) = delete;
    temp_dir &operator=(const temp_dir &) = delete;

    const std::filesystem::path &path() const { return path_; }
    std::string str() const { return path_.string(); }

    // Path of something below, whether it exists or not.
    std::string operator/(std::string_view leaf) const { return (path_ / leaf).string(); }

    // Makes a file below, and the directories on the way. Gives its path.
    std::string write(std::string_view leaf, std::string_view content) const {
        const std::filesystem::path file = path_ / leaf;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream out(file, std::ios::binary);
        out.write(content.data(), static_cast<std::streamsize>(content.size()));
        if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
        return file.string();
    }

    // Content of a file below; "" when it cannot be read.
    std::string read(std::string_view leaf) const {
        std::ifstream in(path_ / leaf, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::filesystem::path path_;
};

#endif
