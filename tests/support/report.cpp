#include <tests/support/report.h>

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include <fnmatch.h>

namespace zd::test {

namespace {

constexpr char header[] = "dataio.chunkheader";
constexpr char index[] = "dataio.chunkindex";
constexpr char chunkReader[] = "dataio.fdchunkreader";
constexpr char chunkWriter[] = "dataio.fdchunkwriter";
constexpr char fileReader[] = "dataio.filereader";
constexpr char fileWriter[] = "dataio.filewriter";
constexpr char reader[] = "dataio.imagereader";
constexpr char writer[] = "dataio.imagewriter";

/// What belongs to a code. "*" in a message stands for any text, at its end for the system's; what can be translated
/// is marked as `MarkingTranslator` marks it. The operation is a pattern of the signature that reports name as their place.
struct Meaning {
    const char* code;
    const char* logger;
    LogOrigin origin;
    const char* operation;
    const char* message;
};

constexpr char noSize[] = "Width, height and pixbitsof the picture must be defined before adding frames.";
constexpr char ownTime[] = "AddFrame with a frametiming cannot be used with autotime=true";
constexpr char noFrames[] = "<Cannot replace frame, indice out of bounds.>";
constexpr char noFrame[] = "<Cannot replace Frame, indice out of bounds.>";

constexpr Meaning meanings[] = {
    {"CHB_LDF_READ", header, System, "ChunkHeaderBase::loadFD(int)", "Could not read chunk header data: *"},
    {"CHB_LFD_PARSE", header, Library, "ChunkHeaderBase::loadFD(int)",
     "Cannot read chunk header, file may be corrupted."},
    {"CHB_LFD_SEEK", header, System, "ChunkHeaderBase::loadFD(int, *)", "Could not seek data: *"},
    {"CHB_WFD_WRITE", header, System, "ChunkHeaderBase::writeFD(int)", "Could not write chunk start header: *"},
    {"CI_L_CHUNK", index, Library, "ChunkIndex::load(*", "Cannot read header index, chunk too small."},
    {"MM_D_NODATA", chunkReader, File, "FDChunkReader::data()", "No data availlable."},
    {"MM_R_SEEK", chunkReader, System, "FDChunkReader::rewind()", "Could not rewind file: *"},
    {"MM_SE_SEEK", chunkReader, System, "FDChunkReader::seekEnd()", "Could not reach end of file: *"},
    {"FDCW_AC_BADFD", chunkWriter, Library, "FDChunkWriter::addChunk(*", "<Cannot write in a non openned file.>"},
    {"FDCW_AC_SEEK", chunkWriter, Library, "FDChunkWriter::addChunk(*", "<Cannot seek in file before writing data.>"},
    {"FDCW_AC_WRITE", chunkWriter, System, "FDChunkWriter::addChunk(*", "<Could not write all data: >*"},
    {"FDCW_NC_READ", chunkWriter, System, "FDChunkWriter::nextChunk(*", "Could not read next chunk data: *"},
    {"FDCW_NC_SEEK", chunkWriter, System, "FDChunkWriter::nextChunk(*", "Cannot perform a seek in file: *"},
    {"FDCW_PC_READ", chunkWriter, System, "FDChunkWriter::prevChunk(*", "Could not read previous chunk data: *"},
    {"FDCW_PC_SEEK1", chunkWriter, System, "FDChunkWriter::prevChunk(*", "Cannot perform a seek in file: *"},
    {"FDCW_PC_SEEK2", chunkWriter, System, "FDChunkWriter::prevChunk(*", "Could not read previous chunk data: *"},
    {"FDCW_TRUNC", chunkWriter, System, "FDChunkWriter::truncateFile()", "<Error while removing old index chunk:>*"},
    {"FR_OF_OPEN", fileReader, File, "FileReader::openFile(*", "File * : *"},
    {"FR_OF_REGFILE", fileReader, File, "FileReader::openFile(*", "* is not a regular file."},
    {"FR_OF_STAT", fileReader, File, "FileReader::openFile(*", "File * : *"},
    {"FW_OF_OPEN", fileWriter, System, "FileWriter::openFile(*", "File * : *"},
    {"FW_OF_OPEN2", fileWriter, System, "FileWriter::openFile(*", "File * : *"},
    {"IR_GRFI_NOSIZE", reader, Library, "ImageReader::get*", "Size not available."},
    {"IR_GRFI_UDTYPE", reader, Library, "ImageReader::getRasterFiberContinuousIndexes(*", "Unknown data type."},
    {"IR_GRFI_UMODE", reader, Library, "ImageReader::getRasterFiberContinuousIndexes(*",
     "Unknown fiber filtering mode."},
    {"IR_MISSINFO", reader, Library, "ImageReader::@(open|reloadHeader)(*", "File *: missing info, bad file format."},
    {"IR_RC_BOUND", reader, Library, "ImageReader::_readChunk(*", "Chunk number out of bounds."},
    {"IW_AF_AUTOTIME1", writer, Library, "ImageWriter::addFrame(*[*], *timeval, float)", ownTime},
    {"IW_AF_AUTOTIME2", writer, Library, "ImageWriter::addFrame(*, int, *timeval, float)", ownTime},
    {"IW_AF_AUTOTIME3", writer, Library, "ImageWriter::addFrameAtEnd(*, int, *timeval, float)", ownTime},
    {"IW_AF_INFO1", writer, Library, "ImageWriter::addFrame(*[*], float)", noSize},
    {"IW_AF_INFO2", writer, Library, "ImageWriter::addFrame(*[*], *timeval, float)", noSize},
    {"IW_ARFCI_INFO", writer, Library, "ImageWriter::_saveFiberCenters()",
     "Width and height of the picture must be defined before saving fibers."},
    {"IW_ARFCI_INFO2", writer, Library, "ImageWriter::_loadFiberCenters(*",
     "cannot get fiber centers without width and height."},
    {"IW_IO_INDEX", writer, Library, "ImageWriter::organizeIndex(*",
     "ImageWriter::organizeIndex: bad arguments.\nfirstFrame * \n circularSize * \n index size *"},
    {"IW_IO_INDEX", writer, Library, "ImageWriter::organizeIndex(*",
     "Warning laser power vector size is not equal to number of frames (*!=*)."},
    {"IW_PT_INFO", writer, Library, "ImageWriter::pixType(ZDImagePixelType)",
     "Image pixel type is unknown: cannot guess pixbits"},
    {"IW_RF_AUTOTIME", writer, Library, "ImageWriter::replaceFrame(*, unsigned int, *timeval, float)", ownTime},
    {"IW_RF_BOUND", writer, Library, "ImageWriter::replaceFrame(*, unsigned int, float)", noFrame},
    {"IW_RF_BOUND2", writer, Library, "ImageWriter::replaceFrame(*, unsigned int, *timeval, float)", noFrame},
    {"IW_RF_FIND", writer, Library, "ImageWriter::replaceFrame(*, unsigned int, float)", noFrames},
    {"IW_RF_FIND2", writer, Library, "ImageWriter::replaceFrame(*, unsigned int, *timeval, float)", noFrames},
    {"IW_SFF_BOUND", writer, Library, "ImageWriter::setFirstFrame(*",
     "Attention, le num\u00E9ro de premiere image s\u00E9l\u00E8ctionn\u00E9 depasse le nombre d'image du fichier "
     "VQF."},
    {"IW_SFF_BOUND", writer, Library, "ImageWriter::setFirstFrame(*",
     "Warning laser power vector size is not equal to number of frames."},
    {"FDCW_MODIFY", writer, File, "ImageWriter::@(modify|modifyAttribute)(*", "<This is not a VFQ file.>"},
    {"FDCW_MODIFY1", writer, File, "ImageWriter::modify(const QString&)",
     "<Cannot modify a file whose endianness is not specified or is different from the one of the current machine.>"},
    {"FDCW_MODIFY2", writer, File, "ImageWriter::modify(const QString&)",
     "<Cannot modify this movie with laser powers not at the expected location.>"},
    {"FDCW_MODIFY3", writer, File, "ImageWriter::modify(const QString&)",
     "<Cannot modify this movie with frametimers not at the expected location.>"},
    {"FDCW_MODIFY4", writer, File, "ImageWriter::modify(const QString&)",
     "<Cannot modify this movie with fibercenters not at the expected location.>"},
};

/// Whether a report of that code names the operation and the source file that belong to it.
bool isAt(const LocationInfo& place, const Meaning& meaning)
{
    const std::string file = "libdataio/" + std::string(meaning.logger).substr(std::strlen("dataio.")) + ".cpp";
    const std::string function = "*zd::" + std::string(meaning.operation) + "*";
    return file == place.file && ::fnmatch(function.c_str(), place.function, FNM_NOESCAPE | FNM_EXTMATCH) == 0;
}

std::string unmarked(std::string message)
{
    std::erase_if(message, [](char c) { return c == '<' || c == '>'; });
    return message;
}

} // namespace

LogCapture::LogCapture(int level)
{
    Logger::setLevel(QStringLiteral("*"), level);
    Logger::setSink([this](const LogRecord& record) { records.push_back(record); });
}

LogCapture::~LogCapture()
{
    Logger::setSink({});
    Logger::setLevel(QStringLiteral("*"), 0);
}

MarkingTranslator::MarkingTranslator()
{
    QCoreApplication::installTranslator(this);
}

QString MarkingTranslator::translate(const char* context, const char* text, const char*, int) const
{
    return std::strcmp(context, "QObject") == 0 ? u'<' + QString::fromLatin1(text) + u'>' : QString();
}

std::string checkedReport(const IOFileException& report, const std::vector<LogRecord>& records)
{
    const std::string code = report.code().toStdString();
    const std::string message = QString(report.message()).replace(QChar::Null, u'?').toStdString();
    EXPECT_FALSE(message.ends_with(std::strerror(0))) << message;
    EXPECT_TRUE(report.detail().isEmpty() && report.location().line > 0) << code;
    const auto* const meaning = std::find_if(std::begin(meanings), std::end(meanings), [&](const Meaning& candidate) {
        return code == candidate.code && ::fnmatch(candidate.message, message.c_str(), FNM_NOESCAPE) == 0;
    });
    const bool known = meaning != std::end(meanings);
    EXPECT_TRUE(known && report.origin() == meaning->origin) << code << ": " << message;
    EXPECT_TRUE(known && isAt(report.location(), *meaning))
        << code << " in " << report.location().function << ", " << report.location().file;
    EXPECT_TRUE(std::any_of(records.begin(), records.end(),
                            [&](const LogRecord& record) {
                                return known && record.logger == QLatin1StringView(meaning->logger) &&
                                       record.level == 1 && record.code == report.code() &&
                                       record.message == report.message() && record.origin == meaning->origin &&
                                       record.location.line == report.location().line &&
                                       record.location.file == report.location().file;
                            }))
        << code << " was not logged";
    return code + ": " + unmarked(report.message().toStdString());
}

std::string described(const std::string& code, int error)
{
    const auto* const meaning = std::find_if(std::begin(meanings), std::end(meanings),
                                             [&](const Meaning& candidate) { return code == candidate.code; });
    const std::string message = unmarked(meaning->message);
    return code + ": " + message.substr(0, message.find('*')) + std::strerror(error);
}

} // namespace zd::test
