#include <vqf/commands/command.h>

#include <movietools/job/progress.h>
#include <movietools/job/wording.h>
#include <movietools/movie/chunkwalk.h>
#include <vqf/console/console.h>
#include <vqf/console/interruption.h>
#include <vqf/console/table.h>

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
    TableFormatArgument format;
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

std::vector<Cell> row(const WalkedPiece& piece)
{
    const bool known = hasHeader(piece);
    return {Cell::number(piece.offset),
            Cell::number(piece.length),
            known ? Cell::number(piece.type) : Cell::unknown(),
            known ? Cell::number(piece.size) : Cell::unknown(),
            Cell::plain(stateOf(piece)),
            Cell::plain(known ? movietools::chunkText(piece.type) : QString())};
}

// Returns whether there is nothing but sound chunks.
bool printPieces(const movietools::ByteSource& source, TablePrinter& table)
{
    bool sound = true;
    movietools::ChunkWalk chunks(source);
    for (WalkedPiece piece; chunks.next(piece);) {
        if (interruption() != 0)
            throw movietools::JobCancelled{};
        table.row(row(piece));
        sound = sound && piece.kind == WalkedPiece::Kind::Chunk;
    }
    table.finish();
    return sound;
}

ExitCode runChunks(const ChunksArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    const movietools::FileBytes source(path);
    TablePrinter table(arguments.format.value(), QStringLiteral("vqf.chunks"), {{QStringLiteral("movie"), path}},
                       QStringLiteral("chunks"),
                       {{"offset", "offset", 11},
                        {"length", "length", 11},
                        {"type", "type", 10},
                        {"payload", "payload", 11},
                        {"state", "state", -8},
                        {"content", "content", 0}});
    return printPieces(source, table) ? ExitCode::Done : ExitCode::SomethingLost;
}

} // namespace

Command addChunksCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("chunks", "List what lies where in a movie file");
    auto arguments = std::make_shared<ChunksArguments>();
    syntax.option("MOVIE", arguments->movie, "The file to list").required();
    arguments->format.addTo(syntax);
    syntax.footer(notes);
    return {syntax, [arguments] { return runChunks(*arguments); }};
}

} // namespace zd::tool
