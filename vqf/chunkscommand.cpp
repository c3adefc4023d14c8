#include <vqf/command.h>

#include <movietools/chunkwalk.h>
#include <movietools/wording.h>
#include <vqf/console.h>
#include <vqf/interruption.h>
#include <vqf/progressline.h>

#include <QJsonObject>

#include <memory>

namespace zd::tool {

namespace {

using movietools::WalkedPiece;

constexpr const char* notes = R"(
Lists the file from its first byte to its last, whatever its state: the chunks, and what lies between them. Offset and
length are bytes in the file, headers included; payload is what the chunk holds.

Exit codes: 0 nothing but sound chunks, 3 damaged headers, gaps or a torn end, 1 the file cannot be read.

Examples:
  vqf chunks cells.vqf
  vqf chunks dead-recording.vqf --json)";

struct ChunksArguments {
    std::string movie;
    bool json = false;
};

QString stateOf(const WalkedPiece& piece)
{
    switch (piece.kind) {
    case WalkedPiece::Kind::Chunk:
        return QStringLiteral("sound");
    case WalkedPiece::Kind::DamagedChunk:
        return QStringLiteral("damaged");
    case WalkedPiece::Kind::TornChunk:
        return QStringLiteral("torn");
    default:
        return QStringLiteral("gap");
    }
}

bool hasHeader(const WalkedPiece& piece)
{
    return piece.isWhole() || (piece.kind == WalkedPiece::Kind::TornChunk && piece.type != 0);
}

void printLine(const QString& offset, const QString& length, const QString& type, const QString& payload,
               const QString& state, const QString& content)
{
    print(QStringLiteral("%1 %2 %3 %4  %5 %6\n")
              .arg(offset, 11)
              .arg(length, 11)
              .arg(type, 10)
              .arg(payload, 11)
              .arg(state, -8)
              .arg(content));
}

void printRow(const WalkedPiece& piece)
{
    const QString none = QStringLiteral("-");
    const bool known = hasHeader(piece);
    printLine(QString::number(piece.offset), QString::number(piece.length), known ? QString::number(piece.type) : none,
              known ? QString::number(piece.size) : none, stateOf(piece),
              known ? movietools::chunkText(piece.type) : QString());
}

QJsonObject json(const WalkedPiece& piece)
{
    const bool known = hasHeader(piece);
    return {{QStringLiteral("offset"), static_cast<qint64>(piece.offset)},
            {QStringLiteral("length"), static_cast<qint64>(piece.length)},
            {QStringLiteral("state"), stateOf(piece)},
            {QStringLiteral("type"), known ? QJsonValue(static_cast<qint64>(piece.type)) : QJsonValue()},
            {QStringLiteral("payload"), known ? QJsonValue(static_cast<qint64>(piece.size)) : QJsonValue()}};
}

// Hands every piece over as it is found, so that a long movie takes no more memory than a short one. Returns whether
// there is nothing but sound chunks.
template <typename Print>
bool walk(const movietools::ByteSource& source, Print printPiece)
{
    bool sound = true;
    movietools::ChunkWalk chunks(source);
    for (WalkedPiece piece; chunks.next(piece);) {
        if (interruption() != 0)
            throw movietools::JobCancelled{};
        printPiece(piece);
        sound = sound && piece.kind == WalkedPiece::Kind::Chunk;
    }
    return sound;
}

bool printTable(const movietools::ByteSource& source)
{
    printLine(QStringLiteral("offset"), QStringLiteral("length"), QStringLiteral("type"), QStringLiteral("payload"),
              QStringLiteral("state"), QStringLiteral("content"));
    return walk(source, printRow);
}

bool printJsonTable(const movietools::ByteSource& source, const QString& path)
{
    const QString movie = jsonText({{QStringLiteral("movie"), path}}).mid(1).chopped(1);
    print(QStringLiteral("{\"schema\":\"vqf.chunks\",\"version\":1,") + movie + QStringLiteral(",\"chunks\":["));
    QString separator = QStringLiteral("\n");
    const bool sound = walk(source, [&separator](const WalkedPiece& piece) {
        print(separator + jsonText(json(piece)));
        separator = QStringLiteral(",\n");
    });
    print(QStringLiteral("\n]}\n"));
    return sound;
}

ExitCode runChunks(const ChunksArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    const movietools::FileBytes source(path);
    const bool sound = arguments.json ? printJsonTable(source, path) : printTable(source);
    return sound ? ExitCode::Done : ExitCode::SomethingLost;
}

} // namespace

Command addChunksCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("chunks", "List what lies where in a movie file");
    auto arguments = std::make_shared<ChunksArguments>();
    app->add_option("MOVIE", arguments->movie, "The file to list")->required();
    app->add_flag("--json", arguments->json, "One JSON object");
    app->footer(notes);
    return {app, [arguments] { return runChunks(*arguments); }};
}

} // namespace zd::tool
