#include <libdataio/attributechunk.h>
#include <tests/support/printed.h>

#include <gtest/gtest.h>

#include <QLocale>

#include <clocale>
#include <functional>
#include <initializer_list>
#include <limits>
#include <utility>

namespace zd {

namespace {

using test::dumped;

QString text(const char* latin1)
{
    return QString::fromLatin1(latin1);
}

std::string storedText(const AttributeChunk& chunk, const char* name)
{
    QString value;
    EXPECT_TRUE(chunk.get(text(name), value));
    return value.toStdString();
}

/// Parses Latin-1 text in both ways, checks that they agree, and returns the outcome.
AttributeChunk parsedBothWays(const QByteArray& latin1)
{
    AttributeChunk fromText;
    AttributeChunk fromBytes;
    fromText.parse(QString::fromLatin1(latin1));
    fromBytes.parseLatin1(latin1.constData(), static_cast<std::size_t>(latin1.size()));
    EXPECT_EQ(dumped(fromText), dumped(fromBytes)) << latin1.toHex(' ').constData();
    return fromBytes;
}

template <typename Number>
void expectNumber(const char* stored, bool valid, Number value)
{
    AttributeChunk chunk;
    chunk.set(text("n"), text(stored));
    Number out = 77;
    EXPECT_EQ(chunk.get(text("n"), out), valid) << stored;
    EXPECT_EQ(out, value) << stored;
    EXPECT_FALSE(chunk.get(text("absent"), out));
    EXPECT_EQ(out, value) << stored;
}

} // namespace

TEST(AttributeChunk, StoresEveryKindAsText)
{
    const auto textOf = [](auto value) {
        AttributeChunk chunk;
        chunk.set(text("n"), value);
        return storedText(chunk, "n");
    };
    EXPECT_EQ(textOf(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(textOf('\xE9'), "\xC3\xA9");
    EXPECT_EQ(textOf(text("  as it is = ")), "  as it is = ");
    EXPECT_EQ(textOf(-1234.5678F), "-1.234568e+03");
    EXPECT_EQ(textOf(0.0F), "0.000000e+00");
    // Halves go to the even neighbour, and these are halves.
    EXPECT_EQ(textOf(12345665.0F), "1.234566e+07");
    EXPECT_EQ(textOf(-12345675.0F), "-1.234568e+07");
    EXPECT_EQ(textOf(1048577.5F), "1.048578e+06");
    EXPECT_EQ(textOf(1048576.5F), "1.048576e+06");
    EXPECT_EQ(textOf(std::numeric_limits<float>::max()), "3.402823e+38");
    EXPECT_EQ(textOf(std::numeric_limits<float>::denorm_min()), "1.401298e-45");
    EXPECT_EQ(textOf(std::numeric_limits<float>::infinity()), "inf");
}

TEST(AttributeChunk, ReadsNumbersOnlyInRange)
{
    expectNumber("2147483647", true, 2147483647);
    expectNumber("-2147483648", true, std::numeric_limits<int>::min());
    expectNumber(" 2", true, 2);
    for (const char* invalid : {"2147483648", "-2147483649", "99999999999999999999", "1.200000e+01", "0x10", ""})
        expectNumber(invalid, false, 0);

    expectNumber("3.402823e+38", true, 3.402823e+38F);
    expectNumber("-1.401298e-45", true, -std::numeric_limits<float>::denorm_min());
    expectNumber("1e-50", true, 0.0F);
    expectNumber("-inf", true, -std::numeric_limits<float>::infinity());
    for (const char* invalid : {"1e39", "-1e39", "1e999", "1,5", ""})
        expectNumber(invalid, false, 0.0F);
}

TEST(AttributeChunk, NumbersLookTheSameInEveryLocale)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"C", "de_DE.UTF-8", "tr_TR.UTF-8"}) {
        std::setlocale(LC_ALL, name); // stays as it is where the system does not have it
        QLocale::setDefault(QLocale(QLatin1StringView(name)));
        AttributeChunk chunk;
        chunk.set(text("f"), 1234567.5F);
        chunk.set(text("i"), -1234567);
        EXPECT_EQ(dumped(chunk), "f=1.234568e+06\ni=-1234567\n") << name;
        expectNumber("1.5", true, 1.5F);
        expectNumber("1,5", false, 0.0F);
        expectNumber("1.500", false, 0);
    }
    std::setlocale(LC_ALL, before.c_str());
    QLocale::setDefault(QLocale::c());
}

TEST(AttributeChunk, ReadsCharactersAndTexts)
{
    AttributeChunk chunk;
    const QString name = text("n");
    char character = '?';
    QString value = text("untouched");
    EXPECT_FALSE(chunk.get(name, character) || chunk.get(name, value));
    for (const QString& notOne : {QString(), text("ab")}) {
        chunk.set(name, notOne);
        EXPECT_FALSE(chunk.get(name, character));
    }
    EXPECT_EQ(character, '?');
    EXPECT_EQ(value, text("untouched"));
    for (const auto& [stored, read] : {std::pair(u'\u00E9', '\xE9'), {u'\u20AC', '\0'}}) {
        chunk.set(name, QString(QChar(stored)));
        EXPECT_TRUE(chunk.get(name, character));
        EXPECT_EQ(character, read);
    }
}

TEST(AttributeChunk, ParsesAndDumpsLines)
{
    AttributeChunk chunk = parsedBothWays("# movie header\nwidth=512\n  height=480  \ncomment=first part=second\n"
                                          "gain = 2\noffset=\n=7\n\nwidth=640");
    EXPECT_EQ(storedText(chunk, "gain "), " 2");
    chunk.set(text("ratio"), 0.25F);
    chunk.set(text("Zoom"), 2);
    QString out = text("before\n");
    chunk.dump(out);
    EXPECT_EQ(out.toStdString(), "before\nZoom=2\ncomment=first part=second\ngain = 2\nheight=480\n"
                                 "ratio=2.500000e-01\nwidth=640\n");
}

TEST(AttributeChunk, TrimsAndSkipsByTheSameRulesInBothForms)
{
    using namespace std::string_literals;
    for (const auto& [latin1, expected] : {std::pair("\xA0\x85\t a=1\xA0\v\f\x85"s, "a=1\n"s),
                                           {"a= \nb=\xA0\n \t# c=1\n#d=1"s, ""s},
                                           {"a==\nb=c=d\n"s, "a==\nb=c=d\n"s},
                                           {"a=1\r2\n"s, "a=1\r2\n"s},
                                           {"a=\0b\n\0=1"s, "\0=1\na=\0b\n"s}})
        EXPECT_EQ(dumped(parsedBothWays(QByteArray::fromStdString(latin1))), expected) << latin1;

    AttributeChunk own;
    own.set(text("a"), text("a=a much longer text than the one before\nb=2"));
    own.parse(own.attributes()[text("a")].text());
    EXPECT_EQ(dumped(own), "a=a much longer text than the one before\nb=2\n");

    AttributeChunk chunk;
    chunk.parseLatin1(nullptr, 0);
    chunk.parse(QStringLiteral("\u2003\u20AC=\U0001F39E\u2028\n"));
    EXPECT_EQ(dumped(chunk), "\u20AC=\U0001F39E\n");
}

TEST(AttributeChunk, MergesErasesAndCopies)
{
    AttributeChunk chunk = parsedBothWays("b=1\nd=1");
    const AttributeChunk other = parsedBothWays("a=2\nb=2\nc=2");
    chunk.merge(other);
    const AttributeChunk& same = chunk;
    chunk.merge(same);
    chunk = same;
    EXPECT_EQ(dumped(chunk), "a=2\nb=2\nc=2\nd=1\n");

    AttributeChunk copy(chunk);
    EXPECT_EQ(copy.erase(text("absent")), 0);
    EXPECT_EQ(copy.erase(text("d")), 1);
    EXPECT_EQ(dumped(copy), dumped(other));
    chunk.clear();
    EXPECT_EQ(dumped(copy = chunk), "");
}

TEST(AttributeChunk, RevisionGrowsWithEveryPossibleChange)
{
    AttributeChunk chunk;
    const AttributeChunk other;
    const QString name = text("n");
    for (const std::function<void()>& change : std::initializer_list<std::function<void()>>{
             [&] { chunk.set(name, 1); }, [&] { chunk.merge(other); }, [&] { chunk.parse(text("a=1")); },
             [&] { chunk.parseLatin1("a=1", 3); }, [&] { chunk.attributes(); }, [&] { chunk.attrBegin(); },
             [&] { chunk.attrEnd(); }, [&] { chunk.erase(name); }, [&] { chunk.clear(); }, [&] { chunk = other; }}) {
        const std::uint64_t before = chunk.revision();
        change();
        EXPECT_GT(chunk.revision(), before);
        EXPECT_FALSE(chunk.unchangedSince(before));
    }
    const std::uint64_t before = chunk.revision();
    const AttributeChunk& constant = chunk;
    EXPECT_EQ(dumped(constant), "");
    EXPECT_TRUE(constant.attributes().empty() && constant.attrBegin() == constant.attrEnd());
    EXPECT_EQ(chunk.revision(), before);
    EXPECT_FALSE(chunk.unchangedSince(before)) << "the entries were handed out, and may be kept";

    AttributeChunk closed;
    closed.set(name, 1);
    EXPECT_TRUE(closed.unchangedSince(closed.revision()));
    closed.attributes();
    EXPECT_FALSE(closed.unchangedSince(closed.revision()));
}

TEST(AttributeChunk, FormatsCommentsAndPrintsItself)
{
    const QString once = AttributeChunk::formatComment(text("a\nb\r\a\n"));
    EXPECT_EQ(once.toStdString(), "a\ab\r \a");
    EXPECT_EQ(AttributeChunk::formatComment(once).toStdString(), "a b\r  ");

    AttributeChunk chunk;
    EXPECT_EQ(test::standardOutputOf([&] { chunk.dumpDebug(); }), "Attribute Chunk Dump:\nNumber of items: 0\n");
    chunk.set(text("rate%d"), text("100%s"));
    chunk.set(text("a"), 1);
    EXPECT_EQ(test::standardOutputOf([&] { chunk.dumpDebug(); }),
              "Attribute Chunk Dump:\nNumber of items: 2\na -> 1\nrate%d -> 100%s\n");
}

} // namespace zd
