#include "Models/FileEntrySort.h"
#include "Models/FileNameFilter.h"
#include "Models/FilePaneCellText.h"
#include "Models/FilePaneTableRowMutation.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

FileEntryRef ref(FileEntry entry) { return std::make_shared<const FileEntry>(std::move(entry)); }

QStringList names(const FileEntryList& list)
{
    QStringList out;
    for (const auto& entry : list) out << entry->name;
    return out;
}

FileEntryList sample()
{
    auto dated = [](FileEntry entry, qint64 secs) {
        entry.modificationDate = QDateTime::fromSecsSinceEpoch(secs, Qt::UTC);
        return entry;
    };
    return {
        ref(dated(makeFileEntry("/f", "file10.txt", false, 300), 300)),
        ref(dated(makeFileEntry("/f", "Beta", true), 100)),
        ref(dated(makeFileEntry("/f", "file2.txt", false, 300), 200)),
        ref(dated(makeFileEntry("/f", "alpha", true), 400)),
        ref(makeFileEntry("/f", "zeta.txt", false, 50)),
    };
}

FileEntrySort::Options by(FileEntrySortColumn column, bool ascending, bool smart = true)
{
    return {column, ascending, smart, false};
}

} // namespace

struct SortCase {
    FileEntrySortColumn column;
    bool ascending;
    bool smart;
    QStringList expected;
};

class SampleSort : public ::testing::TestWithParam<SortCase> { };

TEST_P(SampleSort, Orders)
{
    const SortCase& c = GetParam();
    EXPECT_EQ(names(FileEntrySort::sorted(sample(), by(c.column, c.ascending, c.smart))), c.expected);
}

using C = FileEntrySortColumn;
INSTANTIATE_TEST_SUITE_P(
    FileEntrySort, SampleSort,
    ::testing::Values(
        // Names: natural and case-insensitive; folders first only under smart sorting.
        SortCase {C::name, true, true, {"alpha", "Beta", "file2.txt", "file10.txt", "zeta.txt"}},
        SortCase {C::name, false, true, {"Beta", "alpha", "zeta.txt", "file10.txt", "file2.txt"}},
        SortCase {C::name, false, false, {"zeta.txt", "file10.txt", "file2.txt", "Beta", "alpha"}},
        // Dates keep folders on top; an absent date is last in both directions.
        SortCase {C::modified, true, true, {"Beta", "alpha", "file2.txt", "file10.txt", "zeta.txt"}},
        SortCase {C::modified, false, true, {"alpha", "Beta", "file10.txt", "file2.txt", "zeta.txt"}},
        // Sizes mix folders (no size: last); equal sizes stay in ascending name order.
        SortCase {C::size, true, true, {"zeta.txt", "file2.txt", "file10.txt", "alpha", "Beta"}},
        SortCase {C::size, false, true, {"file2.txt", "file10.txt", "zeta.txt", "alpha", "Beta"}},
        // Contents without counts fall back to names.
        SortCase {C::contents, false, true, {"alpha", "Beta", "file2.txt", "file10.txt", "zeta.txt"}}));

TEST(FileEntrySort, FolderSizesComeFromTheProvider)
{
    auto provider = [](const FileEntry& e) { return e.isDirectory ? std::optional<qint64>(1000) : e.byteSize; };
    EXPECT_EQ(names(FileEntrySort::sorted(sample(), by(C::size, false), provider)),
              QStringList({"alpha", "Beta", "file2.txt", "file10.txt", "zeta.txt"}));
}

TEST(FileEntrySort, KindsPutPresentValuesFirstInBothDirections)
{
    FileEntry noKind = makeFileEntry("/f", "a-none");
    noKind.localizedKind.reset();
    FileEntryList list {ref(makeFileEntry("/f", "b-doc")), ref(noKind), ref(makeFileEntry("/f", "c-dir", true))};
    EXPECT_EQ(names(FileEntrySort::sorted(list, by(FileEntrySortColumn::kind, true, false))),
              QStringList({"b-doc", "c-dir", "a-none"}));
    EXPECT_EQ(names(FileEntrySort::sorted(list, by(FileEntrySortColumn::kind, false, false))),
              QStringList({"c-dir", "b-doc", "a-none"}));
}

TEST(FileEntrySort, LinksToFoldersGroupOnlyWhenAsked)
{
    FileEntry link = makeFileEntry("/f", "a-link");
    link.isSymbolicLink = true;
    link.resolvedURL = "/elsewhere";
    link.resolvedIsDirectory = true;
    FileEntry dangling = makeFileEntry("/f", "b-dangling");
    dangling.isSymbolicLink = true;
    FileEntryList list {ref(makeFileEntry("/f", "z-dir", true)), ref(dangling), ref(link)};
    FileEntrySort::Options options = by(FileEntrySortColumn::name, true);
    EXPECT_EQ(names(FileEntrySort::sorted(list, options)), QStringList({"z-dir", "a-link", "b-dangling"}));
    options.groupFolderAliasesWithFolders = true;
    EXPECT_EQ(names(FileEntrySort::sorted(list, options)), QStringList({"a-link", "z-dir", "b-dangling"}));
    EXPECT_TRUE(FileEntrySort::order(link, dangling, options));
    EXPECT_FALSE(FileEntrySort::order(dangling, link, options));
}

TEST(FileNameFilter, MatchesInsideNamesIgnoringCaseAndDiacritics)
{
    FileNameFilter filter;
    FileEntryList list;
    for (const QString& name : {QStringLiteral("Äpfel.txt"), QStringLiteral("report.PDF"), QStringLiteral("notes")})
        list.push_back(ref(makeFileEntry("/f", name)));
    EXPECT_EQ(names(filter.filter(list, "   \n")).size(), 3);
    EXPECT_EQ(names(filter.filter(list, "a")), QStringList({"Äpfel.txt"}));
    EXPECT_EQ(names(filter.filter(list, "E")).size(), 3);
    EXPECT_EQ(names(filter.filter(list, " pdf ")), QStringList({"report.PDF"}));
    EXPECT_EQ(names(filter.filter(list, "APFEL")), QStringList({"Äpfel.txt"}));
    EXPECT_TRUE(filter.filter(list, "/f").empty()); // names only, never the folder
}

TEST(FileEntry, DropDestinationsFollowLinksButNeverIntoPackages)
{
    FileEntry link = makeFileEntry("/f", "l");
    link.isSymbolicLink = true;
    link.resolvedURL = "/target";
    link.resolvedIsDirectory = true;
    EXPECT_EQ(link.dropDestinationDirectoryURL(), QString("/target"));
    link.resolvedIsPackage = true;
    EXPECT_FALSE(link.dropDestinationDirectoryURL());
    FileEntry package = makeFileEntry("/f", "X.app", true);
    package.isPackage = true;
    EXPECT_FALSE(package.dropDestinationDirectoryURL());
    EXPECT_EQ(makeFileEntry("/f", "d", true).dropDestinationDirectoryURL(), QString("/f/d"));
}

TEST(FilePaneCellText, SizesShowOnlyWhatIsKnown)
{
    EXPECT_EQ(FilePaneCellText::size(makeFileEntry("/f", "d", true)), "--");
    EXPECT_EQ(FilePaneCellText::size(makeFileEntry("/f", "e", false, 0)), "0 KB");
    EXPECT_EQ(FilePaneCellText::size(makeFileEntry("/f", "e", false, 1500)), "2 KB");
}

#include "Models/FilePaneNameDateStyler.h"

TEST(FilePaneNameDateStyler, FindsLeadingDatesWithOneSeparator)
{
    EXPECT_EQ(FilePaneNameDateStyler::leadingDateRange("2024-05-01 notes.txt"), std::make_pair(0, 10));
    EXPECT_EQ(FilePaneNameDateStyler::leadingDateRange("2024.05.01"), std::make_pair(0, 10));
    EXPECT_FALSE(FilePaneNameDateStyler::leadingDateRange("2024-05.01 mixed"));
    EXPECT_FALSE(FilePaneNameDateStyler::leadingDateRange("notes 2024-05-01"));
}

TEST(RowMutation, OnlyOneRunInOrOutIsASingleChange)
{
    const auto rowsOf = [](const QString& spec) {
        std::vector<FilePaneRow> rows;
        for (const QString& name : spec.split(' ', Qt::SkipEmptyParts))
            rows.push_back({std::make_shared<const FileEntry>(makeFileEntry("/p", name.left(1))), int(name.size()) - 1});
        return rows;
    };
    using M = FilePaneTableRowMutation;
    const struct {
        const char* before;
        const char* after;
        std::optional<M> change;
    } cases[] = {
        {"a b c", "a b x y c", M {M::Kind::insertion, 2, 2}},
        {"a b x y c", "a b c", M {M::Kind::removal, 2, 2}},
        {"a a a", "a a a a", M {M::Kind::insertion, 3, 1}},
        {"", "a b", M {M::Kind::insertion, 0, 2}},
        {"a b c", "a c", M {M::Kind::removal, 1, 1}},
        {"a b c", "x b c d", std::nullopt}, // two places changed
        {"a b c", "a bb c d", std::nullopt},  // a row's depth changed
        {"a b", "b a", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(M::singleContiguousChange(rowsOf(c.before), rowsOf(c.after)), c.change) << c.before << " -> " << c.after;
}
