// Name comparison, the order of a bucket, the sort, the search and the
// growth of a bucket. Buckets are built here from malloc'd entry arrays, as
// the library keeps them.
#include <algorithm>
#include <bit>
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
            data[k].kind = NS;
            data[k].value = static_cast<double>(k);
        }
    }
    ~Entries() { std::free(data); }
    Entries(const Entries &) = delete;
    Entries &operator=(const Entries &) = delete;
    SymbolEntry &operator[](size_t k) { return data[k]; }

    uint32_t count;
    SymbolEntry *data;
};

char FoldedByte(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; }

std::string Folded(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), FoldedByte);
    return s;
}

// The order of a bucket, stated independently: folded, unsigned, a name that
// ends first is the lesser.
bool BucketLess(const std::string &a, const std::string &b)
{
    const std::string x = Folded(a), y = Folded(b);
    return std::lexicographical_compare(x.begin(), x.end(), y.begin(), y.end(),
                                        [](char p, char q) { return static_cast<unsigned char>(p) < static_cast<unsigned char>(q); });
}

std::string RandomName(std::mt19937 &rng, const std::string &alphabet, size_t maxLength = 33)
{
    std::string name(1 + rng() % maxLength, ' ');
    for (char &c : name)
        c = alphabet[rng() % alphabet.size()];
    return name;
}

// Names whose folded forms are all different, so that the order is total.
std::vector<std::string> DistinctNames(std::mt19937 &rng, size_t n, const std::string &alphabet)
{
    std::set<std::string> seen;
    std::vector<std::string> names;
    while (names.size() < n) {
        std::string name = RandomName(rng, alphabet, rng() % 2 ? 33 : 4);
        if (seen.insert(Folded(name)).second)
            names.push_back(name);
    }
    return names;
}

const std::string NameBytes = "ABCMNZabcmnz_019$";
const std::string Mark(34, '\xFF');

TEST(CompareFolded, FoldsCaseAndSubtractsSignedBytes)
{
    const struct {
        const char *a, *b;
        int result;
    } rows[] = {
        {"Speed", "SPEED", 0}, {"speed", "Speed", 0}, {"", "", 0},
        {"a", "B", -1}, {"B", "a", 1}, {"abc", "ab", 'c'}, {"ab", "abc", -'c'}, {"", "A", -'a'},
        {"_", "A", '_' - 'a'}, {"1", "a", '1' - 'a'}, {"[", "a", '[' - 'a'},
        {"\x80", "a", -128 - 'a'}, {"a", "\xFF", 'a' + 1}, {"\xC9", "\xE9", -55 + 23}, // no folding above 0x7F
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.a) + " vs " + row.b);
        EXPECT_EQ(qx::CompareFolded(row.a, row.b), row.result);
    }
}

TEST(CompareForSort, FoldedUnsignedShorterFirstAndTheMarkLast)
{
    const struct {
        std::string a, b;
        int sign;
    } rows[] = {
        {"a", "B", -1}, {"A", "a", 0}, {"ab", "a", 1}, {"_", "A", -1}, {"Z", "_", 1}, {"a$", "a1", -1},
        {"\x80", "a", 1}, {"\xE9", "\x81", 1}, {"zzzz", Mark, -1}, {std::string(33, '\xFE'), Mark, -1},
        {Mark, Mark, 0},
    };
    for (const auto &row : rows) {
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
        const std::string got(entries[k].name, strnlen(entries[k].name, 34));
        const std::string original = names[static_cast<size_t>(entries[k].value)];
        ASSERT_EQ(got, original) << "name and payload separated at " << k;
        ASSERT_EQ(Folded(got), Folded(want[k])) << "position " << k << " of " << names.size();
    }
}

TEST(SortBucket, RandomSetsOfEverySizeUpTo200)
{
    std::mt19937 rng(20240611);
    for (size_t n = 0; n <= 200; ++n)
        for (int round = 0; round < 3; ++round) {
            SCOPED_TRACE(n);
            std::vector<std::string> names = DistinctNames(rng, n, NameBytes);
            if (round == 2 && n > 0)
                names[rng() % n] = Mark; // the deleted mark goes last
            ExpectSortsCorrectly(names);
        }
}

TEST(SortBucket, OrderedReversedAndRepetitiveSets)
{
    std::mt19937 rng(7);
    for (size_t n : {2u, 8u, 9u, 10u, 17u, 63u, 64u, 65u, 200u}) {
        SCOPED_TRACE(n);
        std::vector<std::string> names = DistinctNames(rng, n, NameBytes);
        std::sort(names.begin(), names.end(), BucketLess);
        ExpectSortsCorrectly(names);
        std::reverse(names.begin(), names.end());
        ExpectSortsCorrectly(names);
        std::vector<std::string> organPipe; // rising, then falling
        for (size_t k = 0; k < n; ++k)
            organPipe.push_back(k % 2 ? names[k] : names[n - 1 - k]);
        ExpectSortsCorrectly(organPipe);

        std::vector<std::string> equal, prefixed;
        for (size_t k = 0; k < n; ++k) {
            equal.push_back(k % 3 ? "aB" : "Ab"); // equal under folding
            prefixed.push_back(std::string(30, 'p') + RandomName(rng, "aAbB_", 3));
        }
        ExpectSortsCorrectly(equal);
        ExpectSortsCorrectly(prefixed);
    }
}

// The example names of one bucket come out in folded order.
TEST(SortBucket, FoldedOrderInBucket19)
{
    Entries entries({"sz", "SQRT2", "Speed", "sin", "s", "Sa", "s_", "S9", "s$"});
    qx::SortBucket(entries.count, entries.data);
    const char *want[] = {"s", "s$", "S9", "s_", "Sa", "sin", "Speed", "SQRT2", "sz"};
    for (uint32_t k = 0; k < entries.count; ++k)
        EXPECT_STREQ(entries[k].name, want[k]);
}

std::string Raised(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 32) : c; });
    return s;
}

TEST(FindSymbol, FindsEveryNameInAnyCaseAndNothingElse)
{
    std::mt19937 rng(99);
    // 'q' never appears in a stored name, so names holding it are absent.
    for (size_t n = 1; n <= 40; ++n) {
        SCOPED_TRACE(n);
        std::vector<std::string> names = DistinctNames(rng, n, NameBytes);
        names[0] = std::string(33, 'm'); // a name that fills the field
        std::sort(names.begin(), names.end(), BucketLess);
        Entries entries(names);
        for (uint32_t k = 0; k < entries.count; ++k) {
            const std::string &name = names[k];
            for (const std::string &query : {name, Folded(name), Raised(name)})
                EXPECT_EQ(qx::FindSymbol(entries.count, entries.data, query.c_str()), &entries[k]) << query;
            for (const std::string &absent : {"q" + name, name + "q", name.substr(0, name.size() - 1) + "q"})
                EXPECT_EQ(qx::FindSymbol(entries.count, entries.data, absent.c_str()), nullptr) << absent;
        }
        for (const char *absent : {"", "\x80", "\xFF", "a\xE9", "\x81\x40", "mmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmm"})
            EXPECT_EQ(qx::FindSymbol(entries.count, entries.data, absent), nullptr);
    }
    // An empty bucket is never looked into.
    EXPECT_EQ(qx::FindSymbol(0, nullptr, "a"), nullptr);
    EXPECT_EQ(qx::FindSymbol(0, nullptr, ""), nullptr);
}

TEST(FindSymbol, ScansUpToEightAndHalvesFromNine)
{
    // Out of order: only a straight scan finds every name.
    Entries eight({"h", "g", "f", "e", "d", "c", "b", "a"});
    for (uint32_t k = 0; k < 8; ++k)
        EXPECT_EQ(qx::FindSymbol(8, eight.data, eight[k].name), &eight[k]);
    // With ten entries the first probe is the lower middle one, index 4.
    Entries ten({"z", "z", "z", "z", "m", "z", "z", "z", "z", "z"});
    EXPECT_EQ(qx::FindSymbol(10, ten.data, "M"), &ten[4]);
    Entries nine({"a", "b", "c", "d", "e", "f", "g", "h", "Z"});
    std::swap(nine[0], nine[8]); // "Z" first: a halving search cannot reach it
    EXPECT_EQ(qx::FindSymbol(9, nine.data, "z"), nullptr);
}

TEST(BucketOf, LowFiveBitsOfTheFirstByte)
{
    EvalContext ctx{};
    ASSERT_EQ(Quorbix_Initialize(&ctx), 0);
    for (const char *name : {"Speed", "speed", "sin", "SQRT2"})
        EXPECT_EQ(qx::BucketOf(&ctx, name), &ctx.symbols[19]) << name;
    EXPECT_EQ(qx::BucketOf(&ctx, "_x"), &ctx.symbols[31]);
    EXPECT_EQ(qx::BucketOf(&ctx, "a$"), qx::BucketOf(&ctx, "A"));
    EXPECT_EQ(qx::BucketOf(&ctx, "\xE1"), &ctx.symbols[1]);
    Quorbix_Terminate(&ctx);
}

TEST(AppendEntry, GrowsByOneZeroedEntryPerCall)
{
    SymbolBucket bucket{0, nullptr};
    for (uint32_t n = 1; n <= 5; ++n) {
        qxtest::ResetAllocationCount();
        SymbolEntry *entry = qx::AppendEntry(&bucket);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(qxtest::AllocationCount(), 1u);
        EXPECT_EQ(bucket.count, n);
        EXPECT_EQ(entry, &bucket.entries[n - 1]);
        const auto *bytes = reinterpret_cast<const unsigned char *>(entry);
        EXPECT_TRUE(std::all_of(bytes, bytes + sizeof *entry, [](unsigned char b) { return b == 0; }));
        std::memset(entry, 0x5A, sizeof *entry); // must survive the next growth
        for (uint32_t k = 0; k + 1 < n; ++k)
            EXPECT_EQ(bucket.entries[k].kind, 0x5A5A);
    }
    SymbolEntry *before = bucket.entries;
    {
        qxtest::AllocationFailureScope failAll(1, true);
        EXPECT_EQ(qx::AppendEntry(&bucket), nullptr);
        SConstantDef def{"x$", "text"};
        EXPECT_EQ(qx::AddSConstantEntry(&bucket, def), ErrNoMemory);
    }
    EXPECT_EQ(bucket.count, 5u);
    EXPECT_EQ(bucket.entries, before);
    std::free(bucket.entries);
}

double Callback(CallFrame *) { return 0.0; }
char *StringCallback(CallFrame *) { return nullptr; }

TEST(AddEntry, CopiesTheDefinitionWithAttributeOne)
{
    SymbolBucket bucket{0, nullptr};
    NFunctionDef nf{"fn", 3, {}, Callback, 0xBEEF};
    for (uint32_t k = 0; k < 16; ++k)
        nf.argKinds[k] = k + 100;
    SFunctionDef sf{"fn$", 16, {}, StringCallback, 7};
    const std::string longName(33, 'L');
    NConstantDef nc{longName.c_str(), -0.0};
    static const char text[] = "shared text";
    SConstantDef sc{"f$", text};
    ASSERT_EQ(qx::AddNFunctionEntry(&bucket, nf), 0);
    ASSERT_EQ(qx::AddSFunctionEntry(&bucket, sf), 0);
    ASSERT_EQ(qx::AddNConstantEntry(&bucket, nc), 0);
    ASSERT_EQ(qx::AddSConstantEntry(&bucket, sc), 0);
    ASSERT_EQ(bucket.count, 4u);
    const SymbolEntry *e = bucket.entries;
    const uint16_t kinds[] = {NFunction, SFunction, NConstant, SConstant};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(e[k].kind, kinds[k]);
        EXPECT_EQ(e[k].attribute, 1u);
    }
    EXPECT_STREQ(e[0].name, "fn");
    EXPECT_EQ(e[0].function.argCount, 3);
    EXPECT_EQ(std::memcmp(e[0].function.argKinds, nf.argKinds, sizeof nf.argKinds), 0);
    EXPECT_EQ(e[0].function.callback.numeric, &Callback);
    EXPECT_EQ(e[0].function.userWord, 0xBEEFu);
    EXPECT_EQ(e[1].function.callback.string, &StringCallback);
    EXPECT_EQ(e[1].function.userWord, 7u);
    // A 33-byte name leaves its terminator in the last byte of the field.
    EXPECT_EQ(std::string(e[2].name, 33), longName);
    EXPECT_EQ(e[2].name[33], '\0');
    EXPECT_EQ(std::bit_cast<uint64_t>(e[2].value), std::bit_cast<uint64_t>(-0.0));
    EXPECT_EQ(e[3].constant.text, text); // kept, not copied
    EXPECT_EQ(e[3].constant.length, sizeof text - 1);
    std::free(bucket.entries);
}

TEST(CopyName, ZeroFillsBehindTheName)
{
    char field[34];
    std::memset(field, 0x77, sizeof field);
    qx::CopyName(field, "ab");
    EXPECT_EQ(std::string(field, 3), std::string("ab\0", 3));
    EXPECT_TRUE(std::all_of(field + 2, field + 34, [](char c) { return c == 0; }));
    std::memset(field, 0x77, sizeof field);
    qx::CopyName(field, std::string(33, 'n').c_str());
    EXPECT_EQ(std::string(field, 33), std::string(33, 'n'));
    EXPECT_EQ(field[33], '\0');
}

} // namespace
