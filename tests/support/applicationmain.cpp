#include <log/logger.h>

#include <QCoreApplication>

#include <gmock/gmock.h>

// Tests that run other programs need an application object; reports of the library arrive as exceptions.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    zd::Logger::setLevel(QStringLiteral("*"), 0);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
