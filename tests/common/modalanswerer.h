#pragma once

#include <QMessageBox>
#include <QPointer>
#include <QQueue>
#include <QString>
#include <QVector>

#include <functional>

/// What a test saw of one message box.
struct SeenBox {
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    bool hasParent = false;
    bool hasCheckBox = false;
};

/// Answers every message box of the libraries through the event loop while it
/// lives: each box runs its real modal loop and is closed by a zero-time timer
/// that clicks the next queued answer (or the box's escape/first button when
/// the queue is empty). Boxes are recorded in order.
class ModalAnswerer
{
public:
    ModalAnswerer();
    ~ModalAnswerer();

    /// Queues the answer for the next box; `tickCheckBox` ticks the box's
    /// check box (such as "Do not show this again") before clicking.
    void queueAnswer(QMessageBox::StandardButton button, bool tickCheckBox = false);
    /// Runs `action` on the next box instead of answering it; the action must
    /// close the box itself (for instance later, through a timer).
    void queueAction(std::function<void(QMessageBox *)> action);

    const QVector<SeenBox> &boxes() const { return m_boxes; }
    int count() const { return m_boxes.size(); }
    SeenBox last() const { return m_boxes.value(m_boxes.size() - 1); }
    void clear() { m_boxes.clear(); }

private:
    struct Answer {
        QMessageBox::StandardButton button = QMessageBox::NoButton;
        bool tick = false;
        std::function<void(QMessageBox *)> action;
    };
    QQueue<Answer> m_answers;
    QVector<SeenBox> m_boxes;
};

/// Calls `handler` with the next active modal widget that is not a message box
/// and, when `className` is given, inherits that class (a dialog, a file or
/// input dialog), from the event loop, as soon as it shows; gives up after
/// `timeoutMs`. The handler must close the widget.
void handleNextModal(
    std::function<void(QWidget *)> handler, const char *className = nullptr, int timeoutMs = 10000);

/// Top-level widgets still alive; a test's cleanup() checks that none leaked.
int visibleTopLevelWidgets();
