#pragma once

#include "shortcuts/GlobalShortcuts.h"
#include "shortcuts/KeyboardLayout.h"
#include "shortcuts/Recorder.h"
#include "shortcuts/Shortcut.h"
#include "shortcuts/SymbolicHotKeys.h"
#include "support/Localization.h"
#include "support/NotificationCenter.h"
#include "support/RunLoop.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QToolButton>

#include <functional>
#include <memory>
#include <optional>

namespace moritane {

/// What a shortcut recorder works with.
struct ShortcutRecorderSources {
    GlobalShortcuts::Registry& registry;
    const GlobalShortcuts::KeyboardLayout& keyboardLayout;
    const GlobalShortcuts::SymbolicHotKeys& symbolicHotKeys;
    /// The shortcut subsystem's own table.
    const Localization& localization;
    /// The platform's reading of a key event; none for a key it cannot place.
    std::function<std::optional<GlobalShortcuts::KeyEvent>(const QKeyEvent&)> keyEvent;
    NotificationCenter& notificationCenter;
    RunLoop& runLoop;
};

/// A small search-field-like control that shows the shortcut of a name and records a new one:
/// clicking it starts recording, the next acceptable key press becomes the shortcut, its clear
/// button removes it. While it records, every key press and mouse up of the application comes to
/// it first. Tab reaches it without recording; Space or Return then starts.
class ShortcutRecorderField final : public QLineEdit {
public:
    /// The least width it asks for.
    static constexpr int minimumWidth = 130;
    /// How long the window may be without the keyboard before recording ends.
    static constexpr RunLoop::Duration focusReturnWait{300};

    ShortcutRecorderField(const ShortcutRecorderSources& sources, GlobalShortcuts::Name name,
                          GlobalShortcuts::RecorderController::OnChange onChange = {}, QWidget* parent = nullptr);
    ShortcutRecorderField(const ShortcutRecorderField&) = delete;
    ShortcutRecorderField& operator=(const ShortcutRecorderField&) = delete;
    ShortcutRecorderField(ShortcutRecorderField&&) = delete;
    ShortcutRecorderField& operator=(ShortcutRecorderField&&) = delete;
    ~ShortcutRecorderField() override;

    [[nodiscard]] bool isRecording() const { return m_controller->isRecording(); }
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool event(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    class Port;
    class Monitor;

    void refuseFocusForAMoment();
    void endRecordingUnlessFocusReturns();
    /// Gives the focus to the next control, as Tab does.
    void passFocusOn();

    ShortcutRecorderSources m_sources;
    QToolButton* m_clearButton;
    std::unique_ptr<Port> m_port;
    std::shared_ptr<Monitor> m_monitor;
    std::shared_ptr<GlobalShortcuts::RecorderController> m_controller;
    std::shared_ptr<Timer> m_focusReturn;
};

/// The recorder as a settings row: its title at the left and the field at the right; without a
/// title, the field alone.
class ShortcutRecorder final : public QWidget {
public:
    ShortcutRecorder(const ShortcutRecorderSources& sources, GlobalShortcuts::Name name,
                     const std::optional<QString>& title = std::nullopt,
                     GlobalShortcuts::RecorderController::OnChange onChange = {}, QWidget* parent = nullptr);

    [[nodiscard]] ShortcutRecorderField& field() const { return *m_field; }

private:
    ShortcutRecorderField* m_field;
};

}  // namespace moritane
