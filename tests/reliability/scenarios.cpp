#include <tests/reliability/scenarios.h>

#include <tests/support/everyfault.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <algorithm>

namespace zd::test {

namespace {

// The second is longer than all that follows frames: what is left of it would show.
const std::string recordedFrames[] = {countingFrame(16, '\x01'), countingFrame(500, '\x41')};
const std::string appended[] = {std::string(48, 'a'), std::string(16, 'b')};
const std::string replacement(16, 'r');

Step create(bool logged)
{
    return {.kind = Step::Kind::Create,
            .run =
                [logged](ImageWriter& writer, const QString& movie) {
                    writer.setRecordingLog(logged);
                    writer.create(movie, false);
                    writer.width(4);
                    writer.height(2);
                    writer.pixType(ZD_USHORT);
                    writer.addRasterFiberContinuousIndexes({1, 1, 2.5F, 0.5F});
                },
            .pixels = {}};
}

Step modify(bool journaled)
{
    return {.kind = Step::Kind::Modify,
            .run =
                [journaled](ImageWriter& writer, const QString& movie) {
                    writer.setJournaled(journaled);
                    writer.modify(movie);
                },
            .pixels = {}};
}

Step frame(const std::string& pixels, int second)
{
    return {.kind = Step::Kind::Frame,
            .run =
                [=](ImageWriter& writer, const QString&) {
                    writer.addFrame(pixels.data(), static_cast<int>(pixels.size()), timeval{second, 0}, 0.5F);
                },
            .pixels = pixels};
}

Step replace(unsigned int index)
{
    return {.kind = Step::Kind::Replace,
            .run =
                [index](ImageWriter& writer, const QString&) {
                    writer.replaceFrame(replacement.data(), index, timeval{9, 0}, 0.0F);
                },
            .pixels = replacement};
}

Step close()
{
    return {
        .kind = Step::Kind::Close, .run = [](ImageWriter& writer, const QString&) { writer.close(); }, .pixels = {}};
}

Step comment(bool journaled, const QString& text)
{
    AttributeChunk attributes;
    attributes.parse(QString::fromStdString(headerText(movieToEdit())));
    attributes.set(QStringLiteral("comment"), text);
    return {.kind = Step::Kind::Attributes,
            .run =
                [=](ImageWriter& writer, const QString& movie) {
                    writer.setJournaled(journaled);
                    writer.modifyAttribute(movie, attributes);
                },
            .pixels = {}};
}

Scenario edit(const char* name, bool journaled, const std::vector<Step>& steps)
{
    return {.name = name, .journaled = journaled, .steps = steps};
}

} // namespace

std::vector<Scenario> recordings()
{
    std::vector<Scenario> all;
    for (const bool logged : {false, true}) {
        all.push_back({.name = logged ? "recording with a log" : "recording",
                       .logged = logged,
                       .onMovie = false,
                       .steps = {create(logged), frame(recordedFrames[0], 1), frame(recordedFrames[1], 2), close()}});
    }
    return all;
}

std::vector<Scenario> edits(bool journaled)
{
    return {
        edit("nothing", journaled, {modify(journaled), close()}),
        edit("append", journaled, {modify(journaled), frame(appended[0], 13), frame(appended[1], 14), close()}),
        edit("replace", journaled, {modify(journaled), replace(1), close()}),
        edit("replace and append", journaled, {modify(journaled), replace(2), frame(appended[1], 13), close()}),
        edit("longer header", journaled, {comment(journaled, QString(200, u'l'))}),
        edit("header as long", journaled, {comment(journaled, QStringLiteral("after!"))}),
        edit("shorter header", journaled, {comment(journaled, QStringLiteral("a"))}),
    };
}

Scenario wholeEdit()
{
    const auto run = [](ImageWriter& writer, const QString& movie) {
        writer.setRecordingLog(true);
        writer.modify(movie);
        writer.addFrame(std::string(48, 'c').data(), 48, timeval{13, 0}, 0.25F);
        writer.replaceFrame(framesToEdit()[0].data(), 1, timeval{9, 0}, 1.0F);
        writer.replaceFrame(appended[0].data(), 3, timeval{13, 0}, 0.25F);
        writer.replaceFrame(replacement.data(), 1, timeval{8, 0}, 1.0F);
        writer.addFrame(appended[1].data(), 16, timeval{14, 0}, -1.0F);
        writer.setFirstFrame(1);
        writer.setComment(QStringLiteral("after"));
        writer.close();
    };
    return edit("everything", true, {{.kind = Step::Kind::Modify, .run = run, .pixels = {}}});
}

std::vector<Scenario> allScenarios()
{
    std::vector<Scenario> all = recordings();
    for (const bool journaled : {true, false}) {
        for (const Scenario& scenario : edits(journaled))
            all.push_back(scenario);
    }
    return all;
}

std::vector<std::string> framesToEdit()
{
    return {countingFrame(16, '\x00'), countingFrame(16, '\x20'), countingFrame(16, '\x60')};
}

std::string movieToEdit()
{
    MovieBuilder builder;
    for (const std::string& pixels : framesToEdit())
        builder.frame(pixels);
    return builder.chunk(6, words({1073741823, 2147483647}))
        .chunk(7, timeBytes(10, 0) + timeBytes(11, 0) + timeBytes(12, 0))
        .chunk(8, std::string("\x01\x7F\xFF", 3))
        .frameFormat(4, 2, 5, 16)
        .attribute("comment", "before")
        .movie();
}

bool isDescribed(Step::Kind kind, const std::string& code)
{
    using Codes = std::vector<std::string>;
    const auto in = [&code](const Codes& codes) { return std::find(codes.begin(), codes.end(), code) != codes.end(); };
    const bool writing = in({"FDCW_AC_SEEK", "FDCW_AC_WRITE", "CHB_WFD_WRITE", "FDCW_TRUNC"});
    const bool readingHeaders = in({"CHB_LDF_READ", "CHB_LFD_SEEK"});
    const bool opening = in({"FW_OF_OPEN2", "FDCW_MODIFY", "FDCW_PC_READ", "FDCW_PC_SEEK1", "FDCW_PC_SEEK2"});
    switch (kind) {
    case Step::Kind::Create:
        return code == "FW_OF_OPEN";
    case Step::Kind::Frame:
    case Step::Kind::Close:
        return writing;
    case Step::Kind::Replace:
        return writing || readingHeaders;
    case Step::Kind::Modify:
    case Step::Kind::Attributes:
        return writing || readingHeaders || opening;
    }
    return false;
}

QStringList Stage::leftovers() const
{
    QStringList names = QDir(m_directory.path("")).entryList(QDir::Files);
    names.removeAll(QStringLiteral("movie.vqf"));
    return names;
}

void Stage::prepare(const Scenario& scenario) const
{
    for (const QString& name : leftovers())
        QFile::remove(m_directory.path(name.toUtf8().constData()));
    QFile::remove(m_movie);
    if (scenario.onMovie)
        writeFile(m_movie, movieToEdit());
}

void Stage::run(const Scenario& scenario) const
{
    ImageWriter writer;
    for (const Step& step : scenario.steps)
        step.run(writer, m_movie);
}

std::string Stage::result(const Scenario& scenario) const
{
    prepare(scenario);
    run(scenario);
    walkMovie(file());
    return file();
}

bool Stage::dies(const Scenario& scenario, const Fault& fault) const
{
    prepare(scenario);
    m_stepsDone = 0;
    return diesOf(fault, [&] {
        ImageWriter writer;
        for (const Step& step : scenario.steps) {
            step.run(writer, m_movie);
            m_stepsDone = m_stepsDone + 1;
        }
    });
}

std::vector<std::string> Stage::recorded(const Scenario& scenario) const
{
    std::vector<std::string> frames;
    for (std::size_t i = 0; i < static_cast<std::size_t>(m_stepsDone); ++i) {
        if (!scenario.steps[i].pixels.empty())
            frames.push_back(scenario.steps[i].pixels);
    }
    return frames;
}

void Stage::expectNoFrameLost(const Scenario& scenario, const std::vector<std::string>& recorded) const
{
    const std::vector<std::string> left = framesLeft();
    const auto isLeft = [&](const std::string& pixels) {
        return std::find(left.begin(), left.end(), pixels) != left.end();
    };
    const bool restored = scenario.onMovie && file() == movieToEdit();
    for (const std::string& pixels : recorded)
        EXPECT_TRUE(isLeft(pixels) || (restored && pixels == replacement)) << pixels;
    if (!scenario.onMovie)
        return;
    const std::vector<std::string> old = framesToEdit();
    const auto replaced = std::count_if(scenario.steps.begin(), scenario.steps.end(),
                                        [](const Step& step) { return step.kind == Step::Kind::Replace; });
    EXPECT_GE(std::count_if(old.begin(), old.end(), isLeft) + replaced, static_cast<std::ptrdiff_t>(old.size()));
    EXPECT_GE(left.size(), old.size());
}

/// All complete frames that the movie and the movies of rescued frames hold.
std::vector<std::string> Stage::framesLeft() const
{
    QStringList movies = leftovers().filter(QStringLiteral("rescued"));
    if (QFile::exists(m_movie))
        movies.append(QStringLiteral("movie.vqf"));
    std::vector<std::string> frames;
    for (const QString& name : movies) {
        for (const WalkedChunk& chunk : completeChunks(readFile(m_directory.path(name.toUtf8().constData())))) {
            if (chunk.type == 2)
                frames.push_back(chunk.payload);
        }
    }
    return frames;
}

} // namespace zd::test
