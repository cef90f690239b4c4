// A temporary file for the save and load calls, holding the given bytes with
// its descriptor at the start.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>

namespace qxtest {

struct TempFile {
    explicit TempFile(const std::string &bytes = {}) { Reset(bytes); }
    ~TempFile() { std::fclose(file); }
    TempFile(const TempFile &) = delete;
    TempFile &operator=(const TempFile &) = delete;

    off_t Position() const { return lseek(fd, 0, SEEK_CUR); }

    std::string Bytes() const
    {
        std::string all(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(fd, all.data(), all.size(), 0), static_cast<ssize_t>(all.size()));
        return all;
    }

    void Reset(const std::string &bytes) const
    {
        EXPECT_EQ(ftruncate(fd, 0), 0);
        EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        lseek(fd, 0, SEEK_SET);
    }

    FILE *file = std::tmpfile();
    int fd = fileno(file);
};

} // namespace qxtest
