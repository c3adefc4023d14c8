// Records a series through a queue and reads it back, with what was installed.
#include <common/iofileexception.h>
#include <recording/recordingmonitor.h>
#include <recording/recordingqueue.h>
#include <recording/seriesreader.h>
#include <recording/serieswriter.h>

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 2)
        return 2;
    const QString name = QString::fromLocal8Bit(argv[1]);
    try {
        zd::SeriesWriter series;
        series.create(name, {.partFrames = 4});
        zd::RecordingQueue queue(series, {.frameBytes = 8, .capacityFrames = 2});
        const zd::RecordingMonitor monitor(queue);
        for (int frame = 0; frame < 10; ++frame)
            queue.push("12345678", 8, zd::timeval{frame, 0}, 0.5F);
        queue.close();
        series.close();

        zd::SeriesReader reader;
        reader.open(name);
        const void* data = nullptr;
        const bool same = reader.parts().size() == 3 && reader.nbFrames() == 10 && reader.isComplete() &&
                          reader.getFrame(data, 9) && std::memcmp(data, "12345678", 8) == 0;
        std::puts(same ? "a series recorded and read back" : "another series came back");
        return same ? 0 : 1;
    } catch (const zd::IOFileException& failure) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(failure.code()), qPrintable(failure.message()));
        return 1;
    }
}
