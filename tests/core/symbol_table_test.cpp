// Name comparison, the order of a bucket, the sort, the search and the
// growth of a bucket. Buckets are built here from malloc'd entry arrays, as
// the library keeps them.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/symbol_table.h"
#include "support/alloc_hooks.h"

namespace {

using qx::SymbolEntry;

// An entry array on the library's heap; each entry's value is its index at
// creation, so that a moved record can be traced back to its name.
struct Entries {
    explicit Entries(const std::vector<std::string> &names) : count(static_cast<uint32_t>(names.size()))
    {
        data = static_cast<SymbolEntry *>(std::calloc(names.size() + 1, sizeof(SymbolEntry)));
        for (size_t k = 0; k < names.size(); ++k) {
            std::memcpy(data[k].name, names[k].data(), names[k].size());
            data[k].value = static_cast<double>(k);
        }
    }
    ~Entries() { std::free(data); }
    uint32_t count;
    SymbolEntry *data;
};

std::string Folded(std::string s, char from = 'A', char to = 'Z', int shift = 32)
{
    for (char &c : s)
        c = (c >= from && c <= to) ? static_cast<char>(c + shift) : c;
    return s;
}

// The order of a bucket, stated independently: folded, unsigned, a name that
// ends first is the lesser.
bool BucketLess(const std::string &a, const std::string &b)
{
    const std::string x = Folded(a), y = Folded(b);
    return std::lexicographical_compare(x.begin(), x.end(), y.begin(), y.end(),
                                        [](unsigned char p, unsigned char q) { return p < q; });
}

// Names whose folded forms are all different, so that the order is total.
std::vector<std::string> DistinctNames(std::mt19937 &rng, size_t n)
{
    const std::string alphabet = "ABCMNZabcmnz_019$";
    std::set<std::string> seen;
    std::vector<std::string> names;
    while (names.size() < n) {
        std::string name(1 + rng() % (rng() % 2 ? 33 : 4), ' ');
        for (char &c : name)
            c = alphabet[rng() % alphabet.size()];
        if (seen.insert(Folded(name)).second)
            names.push_back(name);
    }
    return names;
}

const std::string Mark(34, '\xFF');

TEST(CompareNames, FoldedSignedForSearchFoldedUnsignedForSort)
{
    const struct { const char *a, *b; int result; } folded[] = {
        {"Speed", "SPEED", 0}, {"", "", 0}, {"abc", "ab", 'c'}, {"ab", "abc", -'c'}, {"_", "A", '_' - 'a'},
        {"[", "a", '[' - 'a'}, {"\x80", "a", -128 - 'a'}, {"\xC9", "\xE9", -55 + 23}, // no folding above 0x7F
    };
    for (const auto &row : folded)
        EXPECT_EQ(qx::CompareFolded(row.a, row.b), row.result) << row.a << " vs " << row.b;
    const struct { std::string a, b; int sign; } sorted[] = {
        {"a", "B", -1}, {"A", "a", 0}, {"ab", "a", 1}, {"_", "A", -1}, {"a$", "a1", -1}, {"\x80", "a", 1},
        {"zzzz", Mark, -1}, {std::string(33, '\xFE'), Mark, -1}, {Mark, Mark, 0}};
    for (const auto &row : sorted) {
        char a[34] = {}, b[34] = {};
        std::memcpy(a, row.a.data(), row.a.size());
        std::memcpy(b, row.b.data(), row.b.size());
        const int got = qx::CompareForSort(a, b);
        EXPECT_EQ((got > 0) - (got < 0), row.sign) << row.a << " vs " << row.b;
    }
}

// Sorts a copy of `names` and checks the order and that whole records moved.
void ExpectSortsCorrectly(const std::vector<std::string> &names)
{
    Entries entries(names);
    qx::SortBucket(entries.count, entries.data);
    std::vector<std::string> want = names;
    std::stable_sort(want.begin(), want.end(), BucketLess);
    for (uint32_t k = 0; k < entries.count; ++k) {
        const std::string got(entries.data[k].name, strnlen(entries.data[k].name, 34));
        ASSERT_EQ(got, names[static_cast<size_t>(entries.data[k].value)]) << "name and payload separated at " << k;
        ASSERT_EQ(Folded(got), Folded(want[k])) << "position " << k << " of " << names.size();
    }
}

TEST(SortBucket, AgreesWithTheReferenceOrderOnRandomOrderedAndRepetitiveSets)
{
    std::mt19937 rng(20240611);
    for (size_t n : {1u, 2u, 3u, 7u, 8u, 9u, 10u, 17u, 33u, 64u, 65u, 200u}) {
        SCOPED_TRACE(n);
        std::vector<std::string> names = DistinctNames(rng, n), organPipe, equal, prefixed;
        ExpectSortsCorrectly(names);
        std::sort(names.begin(), names.end(), BucketLess);
        ExpectSortsCorrectly(names);
        std::reverse(names.begin(), names.end());
        ExpectSortsCorrectly(names);
        for (size_t k = 0; k < n; ++k) {
            organPipe.push_back(k % 2 ? names[k] : names[n - 1 - k]); // rising, then falling
            equal.push_back(k % 3 ? "aB" : "Ab");                     // equal under folding
            prefixed.push_back(std::string(30, 'p') + names[k].substr(0, 3));
        }
        names[rng() % n] = Mark; // the deleted mark goes last
        for (const auto &set : {organPipe, equal, prefixed, names})
            ExpectSortsCorrectly(set);
    }
}

TEST(FindSymbol, FindsEveryNameInAnyCaseAndNothingElse)
{
    std::mt19937 rng(99);
    // 'q' never appears in a stored name, so names holding it are absent.
    for (size_t n = 1; n <= 20; ++n) {
        std::vector<std::string> names = DistinctNames(rng, n);
        names[0] = std::string(33, 'm'); // a name that fills the field
        std::sort(names.begin(), names.end(), BucketLess);
        Entries entries(names);
        for (uint32_t k = 0; k < entries.count; ++k) {
            const std::string &name = names[k];
            for (const std::string &query : {name, Folded(name), Folded(name, 'a', 'z', -32)})
                EXPECT_EQ(qx::FindSymbol(n, entries.data, query.c_str()), &entries.data[k]) << n << " " << query;
            for (const std::string &absent : {"q" + name, name + "q", name.substr(0, name.size() - 1) + "q",
                                              std::string(""), std::string("\x80"), std::string(34, 'm')})
                EXPECT_EQ(qx::FindSymbol(n, entries.data, absent.c_str()), nullptr) << n << " " << absent;
        }
    }
    EXPECT_EQ(qx::FindSymbol(0, nullptr, "a"), nullptr); // an empty bucket is never looked into
}

TEST(AppendEntry, GrowsByOneZeroedEntryPerCallAndSurvivesFailure)
{
    SymbolBucket bucket{0, nullptr};
    for (uint32_t n = 1; n <= 5; ++n) {
        qxtest::ResetAllocationCount();
        SymbolEntry *entry = qx::AppendEntry(&bucket);
        ASSERT_EQ(entry, &bucket.entries[n - 1]);
        EXPECT_EQ(qxtest::AllocationCount(), 1u);
        EXPECT_EQ(bucket.count, n);
        const auto *bytes = reinterpret_cast<const unsigned char *>(entry);
        EXPECT_EQ(std::count(bytes, bytes + sizeof *entry, 0), static_cast<long>(sizeof *entry));
        std::memset(entry, 0x5A, sizeof *entry); // must survive the next growth
        for (uint32_t k = 0; k + 1 < n; ++k)
            EXPECT_EQ(bucket.entries[k].kind, 0x5A5A);
    }
    SymbolEntry *before = bucket.entries;
    qxtest::FailAllocation(1, true);
    EXPECT_EQ(qx::AppendEntry(&bucket), nullptr);
    qxtest::FailAllocation(0);
    EXPECT_TRUE(bucket.count == 5u && bucket.entries == before);
    std::free(bucket.entries);
}

} // namespace
