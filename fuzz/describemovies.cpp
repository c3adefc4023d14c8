#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <log/logger.h>

#include <QByteArray>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

using namespace zd;

QByteArray described(QString text)
{
    return text.toLatin1().toHex();
}

/// One line of everything that two readers must agree on: the code of the failure, or header, times and frames.
QByteArray description(const QString& path)
{
    ImageReader reader;
    try {
        reader.open(path);
    } catch (const IOFileException& e) {
        return e.code().toUtf8();
    }
    QString text;
    reader.attributeChunk().dump(text);
    QByteArray line = "header " + described(text) + " times";
    for (const zd::timeval& time : reader.getFrameTimer())
        line += ' ' + QByteArray::number(time.tv_sec) + '.' + QByteArray::number(time.tv_usec);
    for (unsigned int i = 0; i < static_cast<unsigned int>(reader.nbFrames()); ++i) {
        float power = -1;
        reader.getLaserPower(i, power);
        line += " frame " + QByteArray::number(qRound(power * 254)) + ' ';
        try {
            // The samples as they are stored: whatever "endian" says, nothing is turned.
            reader.attributeChunk().erase(QStringLiteral("endian"));
            const void* data = nullptr;
            if (reader.getFrame(data, i))
                line += QByteArray(static_cast<const char*>(data), reader.frameSize()).toHex();
            else
                line += "none";
        } catch (const IOFileException& e) {
            line += e.code().toUtf8();
        }
    }
    return line;
}

} // namespace

/// Describes each movie whose path is a line of the standard input by a line of the standard output.
int main()
{
    Logger::setLevel(QStringLiteral("*"), 0);
    std::string path;
    while (std::getline(std::cin, path))
        std::puts(description(QString::fromStdString(path)).constData());
}
