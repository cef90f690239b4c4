// The file layer failing or falling short at each of its calls in turn, and
// a saved file damaged at every byte: codes, never crashes, a valid table and
// no leak.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/test_context.h"

namespace {

using qxtest::IoFault;

void Populate(EvalContext *ctx)
{
    Quorbix_AllocNParam(ctx, "x", AttrIntegerView, 1.5);
    Quorbix_AllocSParam(ctx, "s$", 0, "text");
    Quorbix_AllocNDim(ctx, 3, 0, 0, "a");
    Quorbix_AllocNDim(ctx, 2, 2, AttrReadOnly, "m");
    Quorbix_AllocSDim(ctx, 2, 0, 0, "v$");
    Quorbix_AllocSDim(ctx, 1, 2, AttrDeleteProtected, "w$");
    Quorbix_SetParam_SD1(ctx, "v$", 1, "element");
}

struct TempFile {
    int fd;
    TempFile()
    {
        FILE *file = std::tmpfile();
        fd = dup(fileno(file));
        std::fclose(file);
    }
    ~TempFile() { close(fd); }

    std::vector<unsigned char> Bytes() const
    {
        std::vector<unsigned char> bytes(static_cast<size_t>(lseek(fd, 0, SEEK_END)));
        EXPECT_EQ(pread(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

    void Reset(const std::vector<unsigned char> &bytes) const
    {
        EXPECT_EQ(ftruncate(fd, 0), 0);
        EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        lseek(fd, 0, SEEK_SET);
    }
};

std::vector<unsigned char> CleanSave()
{
    qxtest::TestContext t;
    Populate(&t.ctx);
    TempFile file;
    EXPECT_EQ(Quorbix_SaveParam(&t.ctx, file.fd), 0);
    return file.Bytes();
}

TEST(IoFailure, SaveFailsAtEachWriteAndSurvivesShortOnes)
{
    const std::vector<unsigned char> clean = CleanSave();
    for (IoFault fault : {IoFault::Fail, IoFault::Interrupt, IoFault::Partial}) {
        for (size_t n = 1;; ++n) {
            SCOPED_TRACE("fault " + std::to_string(static_cast<int>(fault)) + " at write " + std::to_string(n));
            qxtest::TestContext t;
            Populate(&t.ctx);
            TempFile file;
            int32_t rc;
            bool faulted;
            {
                qxtest::IoFaultScope scope(n, fault);
                rc = Quorbix_SaveParam(&t.ctx, file.fd);
                faulted = qxtest::IoFaulted();
            }
            // Only a real failure fails; a signal or a short write is retried.
            EXPECT_EQ(rc, faulted && fault == IoFault::Fail ? ErrFileWrite : 0);
            if (rc == 0) {
                EXPECT_EQ(file.Bytes(), clean);
            }
            EXPECT_EQ(Quorbix_ParamCount(&t.ctx, nullptr), 6); // saving changes nothing
            if (!faulted)
                break;
        }
    }
}

TEST(IoFailure, LoadFailsAtEachReadAndSurvivesShortOnes)
{
    const std::vector<unsigned char> clean = CleanSave();
    for (IoFault fault : {IoFault::Fail, IoFault::Interrupt, IoFault::Partial}) {
        for (size_t n = 1;; ++n) {
            SCOPED_TRACE("fault " + std::to_string(static_cast<int>(fault)) + " at read " + std::to_string(n));
            const long before = qxtest::LiveBlocks();
            {
                qxtest::TestContext t;
                TempFile file;
                file.Reset(clean);
                int32_t rc;
                bool faulted;
                {
                    qxtest::IoFaultScope scope(n, fault);
                    rc = Quorbix_LoadParam(&t.ctx, file.fd, 0);
                    faulted = qxtest::IoFaulted();
                }
                EXPECT_EQ(rc, faulted && fault == IoFault::Fail ? ErrFileRead : 0);
                qxtest::ExpectValidTable(&t.ctx);
                if (rc == 0) {
                    EXPECT_EQ(t.EvalString("s$ + v$(1)").value, "textelement");
                }
                if (!faulted)
                    break;
            }
            EXPECT_EQ(qxtest::LiveBlocks(), before);
        }
    }
}

// A file is untrusted input: any byte may be wrong.
TEST(IoFailure, EverySingleByteChangeIsHandled)
{
    const std::vector<unsigned char> clean = CleanSave();
    TempFile file;
    for (size_t offset = 0; offset < clean.size(); ++offset) {
        for (int variant = 0; variant < 3; ++variant) {
            std::vector<unsigned char> damaged = clean;
            const unsigned char replacements[] = {static_cast<unsigned char>(damaged[offset] ^ 0xFF), 0x00,
                                                  static_cast<unsigned char>(damaged[offset] + 1)};
            damaged[offset] = replacements[variant];
            file.Reset(damaged);
            const long before = qxtest::LiveBlocks();
            {
                qxtest::TestContext t;
                const int32_t rc = Quorbix_LoadParam(&t.ctx, file.fd, 0);
                EXPECT_TRUE(rc == 0 || rc == ErrFileRead || rc == ErrBadName || rc == ErrNoMemory)
                    << rc << " at offset " << offset;
                qxtest::ExpectValidTable(&t.ctx);
            }
            ASSERT_EQ(qxtest::LiveBlocks(), before) << "offset " << offset;
        }
    }
}

} // namespace
