#include "modalanswerer.h"

#include "qtmessagebox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTimer>

ModalAnswerer::ModalAnswerer()
{
    QtMessageBox::setExecHook([this](QMessageBox *box) {
        SeenBox seen;
        seen.icon = box->icon();
        seen.title = box->windowTitle();
        seen.text = box->text();
        seen.buttons = box->standardButtons();
        seen.defaultButton = box->defaultButton() ? box->standardButton(box->defaultButton())
                                                  : QMessageBox::NoButton;
        seen.hasParent = box->parentWidget() != nullptr;
        seen.hasCheckBox = box->checkBox() != nullptr;
        m_boxes << seen;

        const Answer answer = m_answers.isEmpty() ? Answer() : m_answers.dequeue();
        if (answer.action) {
            answer.action(box);
            return;
        }
        QPointer<QMessageBox> guard(box);
        QTimer::singleShot(0, box, [guard, answer] {
            if (!guard)
                return;
            if (answer.tick && guard->checkBox())
                guard->checkBox()->setChecked(true);
            QAbstractButton *button = answer.button != QMessageBox::NoButton
                ? guard->button(answer.button)
                : guard->escapeButton();
            if (!button && !guard->buttons().isEmpty())
                button = guard->buttons().first();
            if (button)
                button->click();
            else
                guard->reject();
        });
    });
}

ModalAnswerer::~ModalAnswerer() { QtMessageBox::setExecHook({}); }

void ModalAnswerer::queueAnswer(QMessageBox::StandardButton button, bool tickCheckBox)
{
    Answer answer;
    answer.button = button;
    answer.tick = tickCheckBox;
    m_answers.enqueue(answer);
}

void ModalAnswerer::queueAction(std::function<void(QMessageBox *)> action)
{
    Answer answer;
    answer.action = std::move(action);
    m_answers.enqueue(answer);
}

void handleNextModal(std::function<void(QWidget *)> handler, const char *className, int timeoutMs)
{
    auto *timer = new QTimer(qApp);
    auto *elapsed = new QElapsedTimer;
    elapsed->start();
    timer->setInterval(10);
    QObject::connect(
        timer, &QTimer::timeout, timer, [timer, elapsed, handler, className, timeoutMs] {
            QWidget *modal = QApplication::activeModalWidget();
            const bool found = modal && !qobject_cast<QMessageBox *>(modal) && modal->isVisible()
                && (!className || modal->inherits(className));
            if (!found && elapsed->elapsed() < timeoutMs)
                return;
            timer->stop();
            timer->deleteLater();
            delete elapsed;
            if (found)
                handler(modal);
        });
    timer->start();
}

int visibleTopLevelWidgets()
{
    int count = 0;
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (widget->isVisible())
            ++count;
    return count;
}
