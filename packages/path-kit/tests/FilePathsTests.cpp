#include "PathKit/FilePaths.h"

#include <gtest/gtest.h>

TEST(FilePaths, StandardizesLexicallyWithoutResolvingLinks)
{
    EXPECT_EQ(FilePaths::standardized(u"/"), "/");
    EXPECT_EQ(FilePaths::standardized(u"//a//b/"), "/a/b");
    EXPECT_EQ(FilePaths::standardized(u"/a/./b/../c"), "/a/c");
    EXPECT_EQ(FilePaths::standardized(u"/../.."), "/");
    EXPECT_EQ(FilePaths::standardized(u"/a/b/.."), "/a");
    EXPECT_EQ(FilePaths::standardized(u"/a/..b"), "/a/..b");
    EXPECT_TRUE(FilePaths::standardized(u"rel").startsWith(u'/'));
    EXPECT_FALSE(FilePaths::isStandardized(u"/a/"));
    EXPECT_FALSE(FilePaths::isStandardized(u"/a/./b"));
    EXPECT_TRUE(FilePaths::isStandardized(u"/a/.b"));
}

TEST(FilePaths, ComponentsParentsAndAncestry)
{
    EXPECT_EQ(FilePaths::lastComponent(u"/a/b.txt"), "b.txt");
    EXPECT_EQ(FilePaths::lastComponent(u"/"), "/");
    EXPECT_EQ(FilePaths::parent(u"/a/b"), "/a");
    EXPECT_EQ(FilePaths::parent(u"/a"), "/");
    EXPECT_EQ(FilePaths::parent(u"/"), "/");
    EXPECT_EQ(FilePaths::appending("/", u"x"), "/x");
    EXPECT_EQ(FilePaths::appending("/a", u"x"), "/a/x");
    EXPECT_EQ(FilePaths::components(u"/a/b"), QStringList({"a", "b"}));
    EXPECT_TRUE(FilePaths::components(u"/").isEmpty());
    EXPECT_TRUE(FilePaths::isAncestorOrSelf(u"/a", u"/a/b"));
    EXPECT_TRUE(FilePaths::isAncestorOrSelf(u"/", u"/a"));
    EXPECT_TRUE(FilePaths::isAncestorOrSelf(u"/a", u"/a"));
    EXPECT_FALSE(FilePaths::isAncestorOrSelf(u"/a", u"/ab"));
    EXPECT_FALSE(FilePaths::isDescendant(u"/", u"/"));
    EXPECT_EQ(FilePaths::extension(u"/x/a.tar.gz"), "gz");
    EXPECT_EQ(FilePaths::extension(u"/x/.profile"), "");
    EXPECT_EQ(FilePaths::extension(u"/x.d/name"), "");
}

TEST(FilePaths, NativeNamesRoundTripEvenWhenNotUtf8)
{
    const QByteArray samples[] = {
        "plain.txt", "caf\xC3\xA9", "\xE6\x9D\xB1\xE4\xBA\xAC", "emoji \xF0\x9F\x98\x80",
        "bad \xFF\xFE name", "latin1 caf\xE9", "truncated \xE6\x9D", "overlong \xC0\xAF",
        "surrogate \xED\xA0\x80", "line\nbreak", "-leading dash",
    };
    for (const QByteArray& bytes : samples) {
        QString decoded = FilePaths::fromNative(bytes);
        EXPECT_EQ(FilePaths::toNative(decoded), bytes) << bytes.toStdString();
    }
    EXPECT_EQ(FilePaths::fromNative(QByteArray("caf\xC3\xA9")), QString::fromUtf8("caf\xC3\xA9"));
    // Two different invalid names never decode to the same string.
    EXPECT_NE(FilePaths::fromNative(QByteArray("a\xFF")), FilePaths::fromNative(QByteArray("a\xFE")));
    EXPECT_EQ(FilePaths::displayName(FilePaths::fromNative(QByteArray("a\xFF"))), QStringView(u"a\uFFFD").toString());
}
