// The invariants of a context's table that every failure must leave intact.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "core/symbol_table.h"
#include "quorbix.h"

namespace qxtest {

// Every bucket strictly in order, every entry found by its own name, and the
// parameter count agreeing with what the buckets hold.
inline void ExpectValidTable(EvalContext *ctx)
{
    int32_t parameters = 0;
    for (int b = 0; b < qx::BucketCount; ++b) {
        const SymbolBucket &bucket = ctx->symbols[b];
        ASSERT_EQ(bucket.count == 0, bucket.entries == nullptr);
        for (uint32_t k = 0; k < bucket.count; ++k) {
            const qx::SymbolEntry &entry = bucket.entries[k];
            if (k > 0) {
                ASSERT_LT(qx::CompareForSort(bucket.entries[k - 1].name, entry.name), 0) << entry.name;
            }
            ASSERT_EQ(qx::FindSymbol(ctx, entry.name), &entry) << entry.name;
            parameters += qx::IsParameter(entry) ? 1 : 0;
        }
    }
    EXPECT_EQ(Quorbix_ParamCount(ctx, nullptr), parameters);
}

// The bytes of a name's whole bucket, to show a refused call changed nothing.
inline std::vector<unsigned char> BucketBytes(EvalContext *ctx, const char *name)
{
    const SymbolBucket &bucket = *qx::BucketOf(ctx, name);
    const auto *bytes = reinterpret_cast<const unsigned char *>(bucket.entries);
    return {bytes, bytes + bucket.count * sizeof(qx::SymbolEntry)};
}

} // namespace qxtest
