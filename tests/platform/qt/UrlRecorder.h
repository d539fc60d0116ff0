#pragma once

#include <QObject>
#include <QUrl>

#include <vector>

namespace moritane::testing {

/// Stands in for the desktop's handler of a URL scheme and keeps what it was asked to open.
class UrlRecorder final : public QObject {
    Q_OBJECT

public:
    std::vector<QUrl> opened;

public slots:
    void open(const QUrl& url) { opened.push_back(url); }
};

}  // namespace moritane::testing
