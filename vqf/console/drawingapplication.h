#pragma once

#include <QGuiApplication>

#include <memory>

namespace zd::tool {

/// What Qt needs to draw text into pictures, without a screen.
class DrawingApplication {
public:
    /// Throws JobError about `path` when no font is installed.
    explicit DrawingApplication(const QString& path);

private:
    int m_count = 1;
    char m_name[4] = "vqf";
    char* m_arguments[2] = {m_name, nullptr};
    std::unique_ptr<QGuiApplication> m_application;
};

} // namespace zd::tool
