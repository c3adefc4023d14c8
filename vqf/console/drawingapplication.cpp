#include <vqf/console/drawingapplication.h>

#include <movietools/job/joberror.h>

#include <QFontDatabase>

namespace zd::tool {

DrawingApplication::DrawingApplication(const QString& path)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // It tells of missing parts of a desktop that drawing does not need.
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    m_application = std::make_unique<QGuiApplication>(m_count, m_arguments);
    qInstallMessageHandler(handler);
    if (QFontDatabase::families().isEmpty())
        movietools::refuse(path, QStringLiteral("cannot be drawn: no font is installed"),
                           QStringLiteral("install one, like the package fonts-dejavu-core"));
}

} // namespace zd::tool
