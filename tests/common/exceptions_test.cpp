#include <common/iofileexception.h>

#include <gtest/gtest.h>

#include <exception>
#include <type_traits>
#include <typeinfo>

namespace zd {
namespace {

template <typename Caught>
void expectCaughtWhole()
{
    try {
        try {
            throw IOFileException(QStringLiteral("message"), System, QStringLiteral("CODE"), QStringLiteral("detail"),
                                  {"a.cpp", "f()", 12});
        } catch (const BaseException&) {
            throw;
        }
    } catch (const Caught& e) {
        EXPECT_EQ(typeid(e), typeid(IOFileException));
        EXPECT_EQ(e.message(), QStringLiteral("message"));
        EXPECT_EQ(e.origin(), System);
        EXPECT_EQ(e.code(), QStringLiteral("CODE"));
        EXPECT_EQ(e.detail(), QStringLiteral("detail"));
        EXPECT_STREQ(e.location().file, "a.cpp");
        EXPECT_STREQ(e.location().function, "f()");
        EXPECT_EQ(e.location().line, 12);
    }
}

TEST(ExceptionsTest, EveryBaseCatchesTheWholeObject)
{
    static_assert(!std::is_base_of_v<std::exception, BaseException>);
    expectCaughtWhole<IOFileException>();
    expectCaughtWhole<RecoverableException>();
    expectCaughtWhole<BaseException>();
}

} // namespace
} // namespace zd
