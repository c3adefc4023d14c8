// Uses the two lower libraries without the library of movies.
#include <common/zdpalette.h>
#include <log/logger.h>

#include <QString>

int main()
{
    zd::ZdPalette palette;
    palette.initUnsigned8();
    zd::Logger::setLevel(QStringLiteral("consumer"), 3);
    const bool sound = palette.assertIntegrity() && palette.cropMax == 255 &&
                       zd::Logger::logger(QStringLiteral("consumer")).level == 3;
    return sound ? 0 : 1;
}
