#include <tests/reliability/heap.h>
#include <tests/reliability/scenarios.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

#include <QImage>

#include <array>
#include <optional>

namespace zd {

namespace {

using namespace test;

/// The n-th request to `operator new` fails.
class NewFault {
public:
    NewFault(int at, bool lasting) : m_at(at), m_allocations({.at = at, .lasting = lasting}) {}
    bool struck() const { return m_allocations.count() >= m_at; }

private:
    const int m_at;
    const Allocations m_allocations;
};

/// Whether the operation came to its end. Nothing but a report or the lack of memory itself may stop it.
template <typename Operation>
bool succeeds(Operation operation)
{
    try {
        operation();
        return true;
    } catch (const IOFileException&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

template <typename Fault>
class MemoryFaults : public testing::Test {
protected:
    /// Runs a scenario with the n-th request of one step failing; a step that fails is repeated. False when the step
    /// made fewer requests.
    bool insists(const Scenario& scenario, std::size_t place, int n)
    {
        m_stage.prepare(scenario);
        ImageWriter writer;
        for (std::size_t i = 0; i < place; ++i)
            scenario.steps[i].run(writer, m_stage.movie());
        const Step& step = scenario.steps[place];
        const std::string before = scenario.onMovie ? m_stage.file() : std::string();
        bool struck = false;
        bool done = false;
        {
            const Fault fault(n, false);
            done = succeeds([&] { step.run(writer, m_stage.movie()); });
            struck = fault.struck();
        }
        m_failures += done ? 0 : 1;
        if (!done && step.kind == Step::Kind::Modify) {
            EXPECT_TRUE(m_stage.file() == before) << "a failed modify changes nothing";
            EXPECT_FALSE(writer.isOpen());
        }
        for (std::size_t i = done ? place + 1 : place; i < scenario.steps.size(); ++i)
            scenario.steps[i].run(writer, m_stage.movie());
        return struck;
    }

    /// Runs a scenario, each step once, while there is no memory from the n-th request to the end of the writer.
    bool givesUp(const Scenario& scenario, int n)
    {
        m_stage.prepare(scenario);
        std::vector<std::string> recorded;
        recorded.reserve(scenario.steps.size());
        std::optional<ImageWriter> writer(std::in_place);
        bool struck = false;
        {
            const Fault fault(n, true);
            for (std::size_t i = 0; i < scenario.steps.size(); ++i)
                m_done[i] = succeeds([&] { scenario.steps[i].run(*writer, m_stage.movie()); });
            writer.reset();
            struck = fault.struck();
        }
        for (std::size_t i = 0; i < scenario.steps.size(); ++i) {
            if (m_done[i] && !scenario.steps[i].pixels.empty())
                recorded.push_back(scenario.steps[i].pixels);
        }
        if (scenario.steps[0].kind == Step::Kind::Modify && !m_done[0]) {
            EXPECT_TRUE(m_stage.file() == movieToEdit());
        }
        ImageWriter::undoInterruptedEdit(m_stage.movie());
        m_stage.expectNoFrameLost(scenario, recorded);
        return struck;
    }

    /// For every n until there are no more requests.
    template <typename Trial>
    void forEveryRequest(const char* what, Trial strikes)
    {
        const int descriptors = openDescriptors();
        bool struck = true;
        for (int n = 1; struck; ++n, ++m_runs) {
            SCOPED_TRACE(testing::Message() << what << ", request " << n);
            const std::int64_t blocks = heap::blocks();
            struck = strikes(n);
            if (heap::blocks() != blocks)
                expectNothingKept([&] { strikes(n); });
            ASSERT_EQ(openDescriptors(), descriptors);
            ASSERT_FALSE(this->HasFailure());
        }
    }

    /// What is made once for the whole process stays. A second time nothing may.
    template <typename Trial>
    void expectNothingKept(Trial again)
    {
        const std::int64_t blocks = heap::blocks();
        again();
        EXPECT_EQ(heap::blocks(), blocks) << "memory is lost";
    }

    int m_runs = 0;
    int m_failures = 0;
    std::array<bool, 8> m_done{};
    Stage m_stage;
};

#if !DATAIO_SANITIZED
using Kinds = testing::Types<NewFault, heap::MallocFault>;
#else
using Kinds = testing::Types<NewFault>;
#endif
TYPED_TEST_SUITE(MemoryFaults, Kinds);

TYPED_TEST(MemoryFaults, AFailedOperationCanBeRepeated)
{
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = this->m_stage.result(scenario);
        for (std::size_t place = 0; place < scenario.steps.size(); ++place) {
            SCOPED_TRACE(testing::Message() << "step " << place);
            this->forEveryRequest(scenario.name, [&](int n) {
                const bool struck = this->insists(scenario, place, n);
                EXPECT_TRUE(this->m_stage.file() == done);
                return struck;
            });
        }
    }
    figure("runs", this->m_runs);
    figure("failed operations, all repeated", this->m_failures);
    EXPECT_GT(this->m_failures, 100);
}

TYPED_TEST(MemoryFaults, NoFrameIsLostWhenThereIsNoneLeft)
{
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = this->m_stage.result(scenario);
        this->forEveryRequest(scenario.name, [&](int n) {
            const bool struck = this->givesUp(scenario, n);
            EXPECT_TRUE(struck || this->m_stage.file() == done);
            EXPECT_TRUE(!scenario.onMovie || !scenario.journaled || this->m_stage.file() == done ||
                        this->m_stage.file() == movieToEdit());
            return struck;
        });
    }
    figure("runs", this->m_runs);
    EXPECT_GT(this->m_runs, 100);
}

/// Everything that needs memory of its own, on a movie whose samples are turned.
int review(ImageReader& reader, const QString& path)
{
    reader.open(path);
    const void* data = nullptr;
    int delivered = reader.getFrame(data, 0) && data != nullptr ? 1 : 0;
    std::vector<float> centers;
    reader.getRasterFiberContinuousIndexes(centers, ImageReader::SizeClampFiberFilteringSorted);
    QImage image;
    delivered += reader.thumbnail(image, 40, 40, 1) && !image.isNull() ? 1 : 0;
    return delivered + static_cast<int>(centers.size());
}

TYPED_TEST(MemoryFaults, AReaderAnswersAgain)
{
    MovieBuilder builder;
    builder.frame(std::string(4000, '\x01')).frame(std::string(4000, '\x02')).chunk(6, words({1, 2, 3, 4}));
    builder.frameFormat(50, 40, 5, 16).attribute("endian", "1").attribute("datadimension", "2");
    writeFile(this->m_stage.movie(), builder.movie());
    this->forEveryRequest("review", [&](int n) {
        bool struck = false;
        {
            ImageReader reader;
            const TypeParam fault(n, false);
            this->m_failures += succeeds([&] { review(reader, this->m_stage.movie()); }) ? 0 : 1;
            struck = fault.struck();
        }
        ImageReader reader;
        EXPECT_EQ(review(reader, this->m_stage.movie()), 6);
        return struck;
    });
    EXPECT_GT(this->m_failures, 5);
}

} // namespace

} // namespace zd
