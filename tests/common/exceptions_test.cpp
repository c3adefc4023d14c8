#include <common/iofileexception.h>

#include <gtest/gtest.h>

#include <exception>
#include <typeinfo>

namespace zd {
namespace {

IOFileException makeException()
{
    return {QStringLiteral("message"), System, QStringLiteral("CODE"), QStringLiteral("detail"), {"a.cpp", "f()", 12}};
}

void expectAllFields(const BaseException& e)
{
    EXPECT_EQ(e.message(), QStringLiteral("message"));
    EXPECT_EQ(e.origin(), System);
    EXPECT_EQ(e.code(), QStringLiteral("CODE"));
    EXPECT_EQ(e.detail(), QStringLiteral("detail"));
    EXPECT_STREQ(e.location().file, "a.cpp");
    EXPECT_STREQ(e.location().function, "f()");
    EXPECT_EQ(e.location().line, 12);
}

template <typename Caught>
bool isCaughtWhole()
{
    try {
        try {
            throw makeException();
        } catch (const std::exception&) {
            return false;
        } catch (const BaseException&) {
            throw;
        }
    } catch (const Caught& e) {
        expectAllFields(e);
        return typeid(e) == typeid(IOFileException);
    }
}

TEST(ExceptionsTest, EveryBaseCatchesTheWholeObject)
{
    EXPECT_TRUE(isCaughtWhole<IOFileException>());
    EXPECT_TRUE(isCaughtWhole<RecoverableException>());
    EXPECT_TRUE(isCaughtWhole<BaseException>());

    IOFileException assigned{QString(), Library, QString(), QString(), {}};
    assigned = IOFileException(makeException());
    expectAllFields(assigned);
    expectAllFields(RecoverableException(assigned));
}

} // namespace
} // namespace zd
