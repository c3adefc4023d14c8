// Every code that the image reader and the image writer report themselves, with its message and origin.

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <tests/support/markingtranslator.h>
#include <tests/support/moviebuilder.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QFile>

#include <functional>

namespace zd {

namespace {

using namespace test;

constexpr timeval noTime{};
const char* const data = "0123456789";

/// A way to make an operation report.
struct Trigger {
    const char* code;
    int origin;
    std::string message; ///< "%1" stands for the movie's path
    bool translated;
    std::function<void(const QString& path)> run;
};

void put(const QString& path, const MovieBuilder& movie)
{
    writeFile(path, movie.movie());
}

MovieBuilder smallMovie()
{
    return MovieBuilder().frame("a").frame("b").attribute("endian", "2");
}

void modifying(const QString& path, const MovieBuilder& movie, const std::function<void(ImageWriter&)>& operation)
{
    put(path, movie);
    ImageWriter writer;
    writer.modify(path);
    operation(writer);
}

void recording(const QString& path, bool autotime, const std::function<void(ImageWriter&)>& operation)
{
    ImageWriter writer;
    writer.create(path, autotime);
    writer.width(1);
    writer.height(1);
    writer.pixType(ZD_UCHAR);
    operation(writer);
}

std::vector<Trigger> readerTriggers()
{
    return {
        {"IR_MISSINFO", 0, "File %1: missing info, bad file format.", false,
         [](const QString& path) {
             writeFile(path, "");
             ImageReader reader(path);
         }},
        {"IR_RC_BOUND", 0, "Chunk number out of bounds.", false,
         [](const QString& path) {
             put(path, smallMovie());
             ImageReader reader(path);
             writeFile(path, MovieBuilder().frame("a").movie());
             reader.reloadHeader();
             const void* frame = nullptr;
             reader.getFrame(frame, 1);
         }},
        {"IR_GRFI_NOSIZE", 0, "Size not available.", false,
         [](const QString& path) {
             put(path, MovieBuilder().chunk(6, words({1, 2})));
             ImageReader(path).nbFibers(ImageReader::NoFiberFiltering);
         }},
        {"IR_GRFI_UMODE", 0, "Unknown fiber filtering mode.", false,
         [](const QString& path) {
             put(path, MovieBuilder().chunk(6, words({1, 2})).frameFormat(4, 2, 5, 16));
             ImageReader(path).nbFibers(static_cast<ImageReader::FiberFilteringMode>(7));
         }},
        {"IR_GRFI_UDTYPE", 0, "Unknown data type.", false,
         [](const QString& path) {
             MovieBuilder movie;
             movie.chunk(6, words({1, 2})).frameFormat(4, 2, 5, 16).attribute("data_type", "RAW");
             for (const char* key : {"bbox_min_x", "bbox_min_y", "bbox_max_x", "bbox_max_y"})
                 movie.attribute(key, "1");
             put(path, movie);
             ImageReader(path).nbFibers(ImageReader::BundleBoundingBoxFiberFiltering);
         }},
    };
}

constexpr char sizeNotDefined[] = "Width, height and pixbitsof the picture must be defined before adding frames.";
constexpr char timeWithAutotime[] = "AddFrame with a frametiming cannot be used with autotime=true";

std::vector<Trigger> recordingTriggers()
{
    return {
        {"IW_PT_INFO", 0, "Image pixel type is unknown: cannot guess pixbits", false,
         [](const QString&) { ImageWriter().pixType(ZD_UNKNOWN); }},
        {"IW_AF_INFO1", 0, sizeNotDefined, false, [](const QString&) { ImageWriter().addFrame(data, 1.0F); }},
        {"IW_AF_INFO2", 0, sizeNotDefined, false, [](const QString&) { ImageWriter().addFrame(data, noTime, 1.0F); }},
        {"IW_AF_AUTOTIME1", 0, timeWithAutotime, false,
         [](const QString& path) {
             recording(path, true, [](ImageWriter& writer) { writer.addFrame(data, noTime, 1.0F); });
         }},
        {"IW_AF_AUTOTIME2", 0, timeWithAutotime, false,
         [](const QString&) { ImageWriter().addFrame(data, 1, noTime, 1.0F); }},
        {"IW_AF_AUTOTIME3", 0, timeWithAutotime, false,
         [](const QString&) { ImageWriter().addFrameAtEnd(data, 1, noTime, 1.0F); }},
        {"IW_SFF_BOUND", 0,
         "Attention, le num\u00E9ro de premiere image s\u00E9l\u00E8ctionn\u00E9 depasse le nombre d'image du fichier "
         "VQF.",
         false,
         [](const QString& path) {
             modifying(path, smallMovie(), [](ImageWriter& writer) { writer.setFirstFrame(2); });
         }},
        {"IW_SFF_BOUND", 0, "Warning laser power vector size is not equal to number of frames.", false,
         [](const QString& path) {
             modifying(path, smallMovie().chunk(8, "\x01"), [](ImageWriter& writer) { writer.setFirstFrame(0); });
         }},
        {"IW_IO_INDEX", 0, "ImageWriter::organizeIndex: bad arguments.\nfirstFrame 1 \n circularSize 2 \n index size 2",
         false,
         [](const QString& path) {
             modifying(path, smallMovie(), [](ImageWriter& writer) { writer.organizeIndex(1, 2); });
         }},
        {"IW_IO_INDEX", 0, "Warning laser power vector size is not equal to number of frames (1!=3).", false,
         [](const QString& path) {
             modifying(path, smallMovie().frame("c").chunk(8, "\x01"),
                       [](ImageWriter& writer) { writer.organizeIndex(1, 2); });
         }},
        {"IW_ARFCI_INFO", 0, "Width and height of the picture must be defined before saving fibers.", false,
         [](const QString& path) {
             ImageWriter writer;
             writer.create(path, false);
             writer.addRasterFiberContinuousIndexes({1, 2});
             try {
                 writer.close();
             } catch (...) {
                 writer.addRasterFiberContinuousIndexes({}); // or the destructor would report it again
                 throw;
             }
         }},
        {"IW_ARFCI_INFO2", 0, "cannot get fiber centers without width and height.", false,
         [](const QString& path) {
             modifying(path, smallMovie().attribute("width", "1").chunk(6, words({1, 2})), [](ImageWriter&) {});
         }},
    };
}

std::vector<Trigger> editingTriggers()
{
    const auto place = [](const char* what) {
        return std::string("Cannot modify this movie with ") + what + " not at the expected location.";
    };
    const auto nothing = [](ImageWriter&) {};
    const std::string none = "Cannot replace frame, indice out of bounds.";
    const std::string bound = "Cannot replace Frame, indice out of bounds.";
    return {
        {"FDCW_MODIFY", 3, "This is not a VFQ file.", true, [](const QString& path) { ImageWriter().modify(path); }},
        {"FDCW_MODIFY", 3, "This is not a VFQ file.", true,
         [](const QString& path) { ImageWriter().modifyAttribute(path, AttributeChunk()); }},
        {"FDCW_MODIFY1", 3,
         "Cannot modify a file whose endianness is not specified or is different from the one of the current machine.",
         true, [=](const QString& path) { modifying(path, MovieBuilder(), nothing); }},
        {"FDCW_MODIFY2", 3, place("laser powers"), true,
         [=](const QString& path) { modifying(path, smallMovie().chunk(8, "\1").frame("c"), nothing); }},
        {"FDCW_MODIFY3", 3, place("frametimers"), true,
         [=](const QString& path) { modifying(path, smallMovie().chunk(7, "").frame("c"), nothing); }},
        {"FDCW_MODIFY4", 3, place("fibercenters"), true,
         [=](const QString& path) { modifying(path, smallMovie().chunk(6, "").frame("c"), nothing); }},
        {"IW_RF_FIND", 0, none, true, [](const QString&) { ImageWriter().replaceFrame(data, 0, 1.0F); }},
        {"IW_RF_BOUND", 0, bound, true,
         [](const QString& path) {
             modifying(path, smallMovie(), [](ImageWriter& writer) { writer.replaceFrame(data, 2, 1.0F); });
         }},
        {"IW_RF_AUTOTIME", 0, timeWithAutotime, false,
         [](const QString&) { ImageWriter().replaceFrame(data, 0, noTime, 1.0F); }},
        {"IW_RF_FIND2", 0, none, true,
         [](const QString& path) {
             recording(path, false, [](ImageWriter& writer) { writer.replaceFrame(data, 0, noTime, 1.0F); });
         }},
        {"IW_RF_BOUND2", 0, bound, true,
         [](const QString& path) {
             modifying(path, smallMovie(), [](ImageWriter& writer) { writer.replaceFrame(data, 2, noTime, 1.0F); });
         }},
    };
}

void checkAll(const char* logger, const std::vector<Trigger>& triggers)
{
    int argumentCount = 1;
    char name[] = "unit_tests";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(argumentCount, arguments); // translators need one
    for (const Trigger& trigger : triggers) {
        SCOPED_TRACE(trigger.code);
        const TemporaryDirectory directory;
        const QString path = directory.path("movie %2.vqf");
        std::string message = trigger.message;
        if (const std::size_t place = message.find("%1"); place != std::string::npos)
            message.replace(place, 2, path.toStdString());
        const Report expected{trigger.code, message, trigger.origin};
        EXPECT_EQ(repeatedReportOf(logger, [&] { trigger.run(path); }), expected);

        QFile::remove(path);
        const MarkingTranslator translator;
        const Report marked = reportOf(logger, [&] { trigger.run(path); });
        EXPECT_EQ(marked.message, trigger.translated ? "<" + message + ">" : message);
    }
}

TEST(ImageReports, CarryCodeMessageAndOrigin)
{
    checkAll("dataio.imagereader", readerTriggers());
    checkAll("dataio.imagewriter", recordingTriggers());
    checkAll("dataio.imagewriter", editingTriggers());
}

} // namespace

} // namespace zd
