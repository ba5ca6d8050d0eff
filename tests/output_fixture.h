// A state that tests fill by hand, and the result files that are written of it.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "driver/state.h"
#include "output/files.h"
#include "output/result_record.h"

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

class OutputTest : public testing::Test
{
  protected:
    void SetUp() override
    {
        g_settings = {};
        // A directory per process: the tests may run side by side.
        dir = std::filesystem::path(testing::TempDir()) /
              ("dcfsim_output_test" + std::to_string(getpid()));
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
        ASSERT_TRUE(AllocateState());
        for (int i = 0; i < NODE_NUM; i++) {
            for (int j = 0; j < NODE_NUM; j++) {
                std::fill_n(col[i][j], COL_RECORDS, COL{});
                std::fill_n(dp[i][j], COL_RECORDS, COL{});
            }
            node[i].backoff_draws = 1;
        }
        records.assign(3, RESULT{});
        result = records.data();
        load = 1;
        g_counter = 0;
        SetPacketSize(1472);
        fileopen(dir.c_str());
    }

    void TearDown() override
    {
        fileclose();
        FreeState();
        result = nullptr;
        std::filesystem::remove_all(dir);
    }

    // Contents of a result file, after closing all of them.
    std::string Text(const std::string &name)
    {
        fileclose();
        std::ifstream file(dir / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // Line `number` of a result file, from 0.
    std::string Line(const std::string &name, int number)
    {
        std::istringstream text(Text(name));
        std::string line;
        for (int i = 0; i <= number; i++) {
            line.clear();
            std::getline(text, line);
        }
        return line;
    }

    std::filesystem::path dir;
    std::vector<RESULT> records;
};

inline bool HasPrefix(const std::string &text, const std::string &prefix)
{
    return text.starts_with(prefix);
}

inline bool HasSuffix(const std::string &text, const std::string &suffix)
{
    return text.ends_with(suffix);
}

// Values as the summary files print them, each behind its tab.
inline std::string Cells(std::initializer_list<double> values)
{
    std::string line;
    for (double value : values) {
        char text[32];
        snprintf(text, sizeof text, "\t%11.5f", value);
        line += text;
    }
    return line;
}
