#pragma once
// A scratch directory for the files of one test, removed afterwards.

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace Zelkov::Testing {

struct scratch_dir {
    std::filesystem::path path;

    scratch_dir()
    {
        path =
            std::filesystem::temp_directory_path() / ("zelkov_" + std::to_string(std::random_device{}()) + "_" +
                                                      ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(path);
    }
    scratch_dir(const scratch_dir&) = delete;
    scratch_dir& operator=(const scratch_dir&) = delete;
    ~scratch_dir() { std::filesystem::remove_all(path); }

    /// The path of `name` in the directory; writes `bytes` there when given.
    std::string file(const std::string& name, const std::string& bytes = {}) const
    {
        const auto p = (path / name).string();
        if (!bytes.empty()) std::ofstream(p, std::ios::binary) << bytes;
        return p;
    }
};

}  // namespace Zelkov::Testing
