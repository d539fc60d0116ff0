#pragma once

#include <QAbstractButton>
#include <QImage>

namespace moritane {

/// A menu-like row of the popover: a check column, an optional thumbnail and a title on one line,
/// highlighted under the pointer or with the keyboard focus.
class PopoverRow final : public QAbstractButton {
    Q_OBJECT

public:
    explicit PopoverRow(const QString& title, QWidget* parent = nullptr);

    static constexpr int kThumbnailSide = 16;

    /// Shown within kThumbnailSide x kThumbnailSide with its aspect kept, in device pixels of the
    /// row's screen; a null image leaves the row without one.
    void setThumbnail(const QImage& thumbnail);
    [[nodiscard]] bool hasThumbnail() const { return !m_thumbnail.isNull(); }
    /// A drop-down arrow at the trailing edge, for a row that opens a menu.
    void setShowsMenuIndicator(bool shows);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    /// The check mark follows the model, never a click.
    void nextCheckState() override {}

private:
    QImage m_thumbnail;
    bool m_showsMenuIndicator = false;
    /// Focus given when the window opens is no choice of the user's and is not highlighted.
    bool m_hasKeyboardFocus = false;
};

}  // namespace moritane
