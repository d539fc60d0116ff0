#include "shell/ShortcutRecorder.h"

#include "shortcuts/ShortcutDisplay.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QStyle>

#include <algorithm>
#include <utility>
#include <vector>

namespace moritane {

using GlobalShortcuts::RecorderAlert;
using GlobalShortcuts::RecorderController;
using GlobalShortcuts::RecorderEvent;

namespace {

// What a line edit leaves around its text besides the frame.
constexpr int kTextPadding = 8;

}  // namespace

/// The field as the recorder's states see it.
class ShortcutRecorderField::Port final : public GlobalShortcuts::RecorderField {
public:
    explicit Port(ShortcutRecorderField& field) : m_field(field) {}

    [[nodiscard]] std::string text() const override { return m_field.text().toStdString(); }
    void setText(const std::string& text) override { m_field.setText(QString::fromStdString(text)); }
    void setPlaceholder(const std::string& placeholder) override {
        m_field.setPlaceholderText(QString::fromStdString(placeholder));
    }
    void setClearButtonShown(bool shown) override { m_field.m_clearButton->setVisible(shown); }
    void setRecording(bool recording) override;
    void blur() override {
        m_field.clearFocus();
        // Without the keyboard, as in an inactive window, no focus-out event comes.
        m_field.m_controller->endRecording();
    }
    void focus() override {
        m_field.setFocus(Qt::OtherFocusReason);
        // Already holding the keyboard, it gets no focus-in event.
        if (m_field.hasFocus()) {
            m_field.m_controller->startRecording();
        }
    }
    void beep() override { QApplication::beep(); }
    int runAlert(const RecorderAlert& alert) override;

private:
    ShortcutRecorderField& m_field;
};

/// Sees every key press and mouse up of the application while the field records, before anyone
/// else. It may be let go in its own callback, and the field may go away during an alert.
class ShortcutRecorderField::Monitor final : public QObject, public std::enable_shared_from_this<Monitor> {
public:
    Monitor(ShortcutRecorderField& field, std::weak_ptr<RecorderController> controller)
        : m_field(&field), m_keyEvent(field.m_sources.keyEvent), m_controller(std::move(controller)) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        // A window passes input on to its widgets: they are where it is taken.
        if (!watched->isWidgetType()) {
            return false;
        }
        const auto self = shared_from_this();
        switch (event->type()) {
        case QEvent::ShortcutOverride:
            // No shortcut of the application's takes a key from the recorder.
            event->accept();
            return true;
        case QEvent::KeyPress: {
            const auto key = m_keyEvent(*static_cast<QKeyEvent*>(event));
            if (!key) {
                QApplication::beep();
                return true;
            }
            if (key->type != GlobalShortcuts::KeyEvent::keyDown) {
                return true;
            }
            const bool swallowed = handle(RecorderEvent::keyDown(*key));
            // A Tab passed on moves the focus on from the field, which the blur left with nobody.
            if (!swallowed && m_field && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Tab) {
                m_field->passFocusOn();
                return true;
            }
            return swallowed;
        }
        case QEvent::MouseButtonRelease:
            return handleMouseUp(*static_cast<QMouseEvent*>(event));
        default:
            return false;
        }
    }

private:
    bool handleMouseUp(const QMouseEvent& mouse) {
        if (mouse.button() != Qt::LeftButton && mouse.button() != Qt::RightButton) {
            return false;
        }
        bool isNear = false;
        if (m_field) {
            const auto local = m_field->mapFromGlobal(mouse.globalPosition());
            isNear = GlobalShortcuts::isNearField(local.x(), local.y(), m_field->width(), m_field->height());
        }
        return handle(
            {mouse.button() == Qt::LeftButton ? RecorderEvent::Type::leftMouseUp : RecorderEvent::Type::rightMouseUp, 0,
             0, std::nullopt, isNear});
    }

    bool handle(const RecorderEvent& recorderEvent) {
        const auto controller = m_controller.lock();
        return controller == nullptr || controller->handle(recorderEvent);
    }

    QPointer<ShortcutRecorderField> m_field;
    std::function<std::optional<GlobalShortcuts::KeyEvent>(const QKeyEvent&)> m_keyEvent;
    std::weak_ptr<RecorderController> m_controller;
};

void ShortcutRecorderField::Port::setRecording(bool recording) {
    if (recording) {
        m_field.m_monitor = std::make_shared<Monitor>(m_field, m_field.m_controller);
        qApp->installEventFilter(m_field.m_monitor.get());
    } else if (m_field.m_monitor) {
        qApp->removeEventFilter(m_field.m_monitor.get());
        m_field.m_monitor.reset();
    }
}

int ShortcutRecorderField::Port::runAlert(const RecorderAlert& alert) {
    QMessageBox box(QMessageBox::NoIcon, QString::fromStdString(alert.title), {}, QMessageBox::NoButton,
                    m_field.window());
    box.setWindowModality(Qt::WindowModal);
    if (alert.message) {
        box.setInformativeText(QString::fromStdString(*alert.message));
    }
    std::vector<QAbstractButton*> buttons;
    for (const auto& title : alert.buttons) {
        // The first is the answer of Return and Escape, and stands last, where a dialog's default does.
        buttons.push_back(box.addButton(QString::fromStdString(title),
                                        buttons.empty() ? QMessageBox::AcceptRole : QMessageBox::ActionRole));
    }
    if (buttons.empty()) {
        buttons.push_back(box.addButton(QMessageBox::Ok));
    }
    box.setDefaultButton(qobject_cast<QPushButton*>(buttons.front()));
    box.setEscapeButton(buttons.front());
    box.exec();
    return buttons.size() > 1 && box.clickedButton() == buttons[1] ? RecorderAlert::secondButton
                                                                   : RecorderAlert::firstButton;
}

ShortcutRecorderField::ShortcutRecorderField(const ShortcutRecorderSources& sources, GlobalShortcuts::Name name,
                                             RecorderController::OnChange onChange, QWidget* parent)
    : QLineEdit(parent),
      m_sources(sources),
      m_clearButton(new QToolButton(this)),
      m_port(std::make_unique<Port>(*this)) {
    setReadOnly(true);
    setAlignment(Qt::AlignCenter);
    setContextMenuPolicy(Qt::NoContextMenu);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);

    m_clearButton->setIcon(style()->standardIcon(QStyle::SP_LineEditClearButton));
    m_clearButton->setAutoRaise(true);
    m_clearButton->setFocusPolicy(Qt::NoFocus);
    m_clearButton->setCursor(Qt::ArrowCursor);
    m_clearButton->hide();
    // On the press: while recording, the release inside the field belongs to the recorder.
    connect(m_clearButton, &QToolButton::pressed, this, [this] { m_controller->clickClearButton(); });
    // The same margin on both sides keeps the text in the middle.
    const int margin = m_clearButton->sizeHint().height();
    setTextMargins(margin, 0, margin, 0);

    m_controller = RecorderController::create({sources.registry,
                                               {sources.keyboardLayout, sources.symbolicHotKeys, nullptr},
                                               sources.localization,
                                               sources.notificationCenter},
                                              std::move(name), std::move(onChange), *m_port);
}

ShortcutRecorderField::~ShortcutRecorderField() {
    if (m_focusReturn) {
        m_focusReturn->invalidate();
    }
    m_controller->endRecording();
    m_controller->detachField();
}

QSize ShortcutRecorderField::sizeHint() const {
    // Wider where the placeholders need it, as they do in larger fonts and other languages.
    int placeholderWidth = 0;
    for (const auto key :
         {GlobalShortcuts::LocalizedKey::recordShortcut, GlobalShortcuts::LocalizedKey::pressShortcut}) {
        placeholderWidth =
            std::max(placeholderWidth,
                     fontMetrics().horizontalAdvance(QString::fromStdString(m_sources.localization.string(key))));
    }
    const auto margins = textMargins();
    const int frame = style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, this);
    return {std::max(minimumWidth, placeholderWidth + margins.left() + margins.right() + 2 * frame + kTextPadding),
            QLineEdit::sizeHint().height()};
}

bool ShortcutRecorderField::event(QEvent* event) {
    switch (event->type()) {
    case QEvent::WindowActivate:
        refuseFocusForAMoment();
        break;
    case QEvent::WindowDeactivate:
        endRecordingUnlessFocusReturns();
        break;
    default:
        break;
    }
    return QLineEdit::event(event);
}

void ShortcutRecorderField::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    // From the keyboard it only takes the focus (Space or Return starts), and the focus that comes
    // back with the window starts nothing by itself.
    if (event->reason() == Qt::MouseFocusReason || event->reason() == Qt::OtherFocusReason) {
        m_controller->startRecording();
    }
}

void ShortcutRecorderField::passFocusOn() {
    setFocus(Qt::TabFocusReason);
    focusNextPrevChild(true);
}

void ShortcutRecorderField::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    if (event->reason() == Qt::ActiveWindowFocusReason) {
        endRecordingUnlessFocusReturns();
    } else {
        m_controller->endRecording();
    }
}

void ShortcutRecorderField::endRecordingUnlessFocusReturns() {
    // The X server takes the keyboard from the window for the length of a press of a global
    // shortcut, and the window hears that it lost the focus and then that it has it back. Only a
    // loss that lasts is the window leaving the front, which ends recording.
    if (m_focusReturn) {
        m_focusReturn->invalidate();
    }
    m_focusReturn =
        m_sources.runLoop.scheduleTimer(focusReturnWait, false, TimerModes::common, [field = QPointer(this)] {
            if (field && !(field->hasFocus() && field->window()->isActiveWindow())) {
                field->m_controller->endRecording();
                if (field->window()->focusWidget() == field) {
                    field->clearFocus();
                }
            }
        });
}

void ShortcutRecorderField::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter:
        m_controller->startRecording();
        break;
    default:
        QLineEdit::keyPressEvent(event);
    }
}

void ShortcutRecorderField::mousePressEvent(QMouseEvent* event) {
    QLineEdit::mousePressEvent(event);
    // Only the keyboard's way round the window is refused for a moment; a click that brings the
    // window to the front still starts recording.
    if (!hasFocus()) {
        setFocus(Qt::MouseFocusReason);
    }
    if (hasFocus()) {
        m_controller->startRecording();
    }
}

void ShortcutRecorderField::paintEvent(QPaintEvent* event) {
    QLineEdit::paintEvent(event);
    // A centred line edit hides its placeholder while it has the focus, which is when recording
    // shows it.
    if (hasFocus() && text().isEmpty()) {
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::PlaceholderText));
        const auto margins = textMargins();
        painter.drawText(
            rect().adjusted(margins.left(), 0, -margins.right(), 0), Qt::AlignCenter,
            fontMetrics().elidedText(placeholderText(), Qt::ElideRight, width() - margins.left() - margins.right()));
    }
}

void ShortcutRecorderField::resizeEvent(QResizeEvent* event) {
    QLineEdit::resizeEvent(event);
    const int side = height();
    m_clearButton->setGeometry(width() - side, 0, side, side);
}

void ShortcutRecorderField::refuseFocusForAMoment() {
    // So that a window coming to the front passes over the field and it does not record by itself.
    setFocusPolicy(Qt::NoFocus);
    m_sources.runLoop.post([field = QPointer(this)] {
        if (field) {
            field->setFocusPolicy(Qt::StrongFocus);
        }
    });
}

ShortcutRecorder::ShortcutRecorder(const ShortcutRecorderSources& sources, GlobalShortcuts::Name name,
                                   const std::optional<QString>& title, RecorderController::OnChange onChange,
                                   QWidget* parent)
    : QWidget(parent), m_field(new ShortcutRecorderField(sources, std::move(name), std::move(onChange))) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    if (title) {
        auto* label = new QLabel(*title);
        label->setBuddy(m_field);
        layout->addWidget(label);
        layout->addStretch(1);
    }
    layout->addWidget(m_field);
}

}  // namespace moritane
