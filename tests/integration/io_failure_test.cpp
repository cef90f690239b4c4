// The file layer failing or falling short at each of its calls in turn, and
// a saved file damaged at every byte: codes, never crashes, a valid table and
// no leak.
#include <string>

#include "support/alloc_hooks.h"
#include "support/table_check.h"
#include "support/temp_file.h"
#include "support/test_context.h"

namespace {

using qxtest::IoFault;
using qxtest::TempFile;

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

std::string CleanSave()
{
    qxtest::TestContext t;
    Populate(&t.ctx);
    TempFile file;
    EXPECT_EQ(Quorbix_SaveParam(&t.ctx, file.fd), 0);
    return file.Bytes();
}

// Only a real failure fails; a signal or a short transfer is retried.
TEST(IoFailure, SaveAndLoadFailAtEachTransferAndSurviveShortOnes)
{
    const std::string clean = CleanSave();
    for (const bool saving : {true, false}) {
        for (IoFault fault : {IoFault::Fail, IoFault::Interrupt, IoFault::Partial}) {
            bool faulted = true;
            for (size_t n = 1; faulted; ++n) {
                SCOPED_TRACE(::testing::Message() << (saving ? "save" : "load") << ", fault "
                                                  << static_cast<int>(fault) << " at transfer " << n);
                const long before = qxtest::LiveBlocks();
                {
                    qxtest::TestContext t;
                    TempFile file(saving ? std::string() : clean);
                    if (saving)
                        Populate(&t.ctx);
                    int32_t rc;
                    {
                        qxtest::IoFaultScope scope(n, fault);
                        rc = saving ? Quorbix_SaveParam(&t.ctx, file.fd) : Quorbix_LoadParam(&t.ctx, file.fd, 0);
                        faulted = qxtest::IoFaulted();
                    }
                    EXPECT_EQ(rc, faulted && fault == IoFault::Fail ? (saving ? ErrFileWrite : ErrFileRead) : 0);
                    qxtest::ExpectValidTable(&t.ctx);
                    if (saving) {
                        EXPECT_EQ(Quorbix_ParamCount(&t.ctx, nullptr), 6); // saving changes nothing
                        EXPECT_TRUE(rc != 0 || file.Bytes() == clean);
                    } else if (rc == 0) {
                        EXPECT_EQ(t.EvalString("s$ + v$(1)").value, "textelement");
                    }
                }
                EXPECT_EQ(qxtest::LiveBlocks(), before);
            }
        }
    }
}

// A file is untrusted input: any byte may be wrong.
TEST(IoFailure, EverySingleByteChangeIsHandled)
{
    const std::string clean = CleanSave();
    TempFile file;
    for (size_t offset = 0; offset < clean.size(); ++offset) {
        for (int variant = 0; variant < 3; ++variant) {
            std::string damaged = clean;
            const char replacements[] = {static_cast<char>(~damaged[offset]), '\0',
                                         static_cast<char>(damaged[offset] + 1)};
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
