#include <libdataio/imagewriter.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tooltest.h>

#include <QImage>

#include <gmock/gmock.h>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;

/// The rich movie m.vqf of three frames, and the real program.
class ExchangeTool : public test::ToolTest {
protected:
    ExchangeTool()
    {
        test::writeFile(directory.path("m.vqf"), test::richMovie());
        ImageWriter writer; // whose fibre centres are single-precision numbers
        writer.modify(directory.path("m.vqf"));
        writer.close();
    }

    // Pixels of a picture that have exactly this colour.
    int pixelsOf(const char* picture, QRgb color) const
    {
        const QImage image = QImage(directory.path(picture)).convertToFormat(QImage::Format_RGB32);
        int count = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                count += image.pixel(x, y) == color ? 1 : 0;
        return count;
    }
};

// Other people's programs: the pixels and times that they see.
TEST_F(ExchangeTool, OtherProgramsSeePixelsAndTimes)
{
    const Ended ended = run(R"(set -e
        vqf export -q m.vqf -o m.ome.tif --fiber-regions
        vqf export -q m.vqf -o m.npy
        vqf export -q m.vqf -o m.mkv
        vqf export -q m.vqf -o colors.mp4 --palette
        /usr/bin/python3 - <<'END'
import numpy, tifffile
stack = tifffile.TiffFile("m.ome.tif")
array = stack.asarray()
assert stack.is_ome and stack.series[0].axes == "TYX", stack.series
assert (array == numpy.load("m.npy")).all() and array.dtype == "uint16" and array.shape == (3, 2, 4)
assert array[1].tobytes() == bytes(range(20, 36))
assert stack.pages[0].colormap.shape == (3, 65536)
image = tifffile.xml2dict(stack.ome_metadata)["OME"]["Image"]
planes = image["Pixels"]["Plane"]
assert [plane["DeltaT"] for plane in planes] == [0, 1.000005, 2.999999 - 0], planes
assert image["AcquisitionDate"] == "2023-11-14T22:13:20.000000Z", image["AcquisitionDate"]
assert image["Description"] == "first line\nsecond line"
points = tifffile.xml2dict(stack.ome_metadata)["OME"]["ROI"]["Union"]["Point"]
assert [(point["X"], point["Y"]) for point in points[:2]] == [(0, 0), (1, 0.25)], points
open("ome.xml", "w").write(stack.ome_metadata)
END
        for video in m.mkv colors.mp4; do
            ffprobe -v error -show_entries stream=codec_name,pix_fmt,width,height -of csv $video
        done
        xmllint --noout ${OME_XSD:+--schema "$OME_XSD"} ome.xml 2>&1)");
    EXPECT_EQ(ended.code, 0) << ended.errors;
    EXPECT_THAT(ended.output, HasSubstr("stream,ffv1,4,2,gray16le\n"));
    EXPECT_THAT(ended.output, HasSubstr("stream,h264,4,2,yuv420p\n"));
}

TEST_F(ExchangeTool, DrawsSheetsAndPlots)
{
    EXPECT_EQ(
        run("vqf sheet m.vqf -o sheet.png --side 100 --columns 2 && vqf plot m.vqf -o plot.png --size 600x500").code,
        0);
    const QImage sheet(directory.path("sheet.png"));
    EXPECT_GE(sheet.width(), 2 * 100 + 3 * 10);
    EXPECT_LT(sheet.width(), 300);
    // Three pictures of 100 x 50 pixels in the one colour of the palette, rounded.
    EXPECT_NEAR(pixelsOf("sheet.png", qRgb(128, 128, 128)), 3 * 100 * 50, 50); // and some of the text
    EXPECT_EQ(QImage(directory.path("plot.png")).size(), QSize(600, 500));
    for (const QRgb curve : {qRgb(30, 90, 170), qRgb(190, 60, 40), qRgb(40, 130, 70)})
        EXPECT_GT(pixelsOf("plot.png", curve), 20) << curve;

    // Without laser powers and times these curves are not drawn; a frame that cannot be read is crossed out.
    std::string damaged = test::smallMovie();
    damaged[0] = 'X';
    test::writeFile(directory.path("m.vqf"), damaged);
    run("vqf export -q m.vqf -o a.npy --no-sidecar; vqf import -q a.npy -o b.vqf; vqf plot b.vqf -o plot.png --force");
    const Ended ended = run("vqf sheet m.vqf -o sheet.png --force -q");
    EXPECT_EQ(ended.code, 3);
    EXPECT_EQ(ended.errors, "vqf: m.vqf: frame 0 cannot be read: Cannot read chunk header, file may be corrupted\n");
    EXPECT_GT(pixelsOf("plot.png", qRgb(30, 90, 170)), 4);
    EXPECT_EQ(pixelsOf("plot.png", qRgb(190, 60, 40)) + pixelsOf("plot.png", qRgb(40, 130, 70)), 0);
    EXPECT_GT(pixelsOf("sheet.png", qRgb(110, 110, 110)), 400);
}

} // namespace
} // namespace zd::tool
