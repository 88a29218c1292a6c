#pragma once

#include "modalanswerer.h"

#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QStringList>
#include <QWidget>

// The widgets named in `names` in the order the focus chain reaches them,
// starting from the first.
inline QStringList focusChain(const QWidget &form, const QStringList &names)
{
    QStringList chain;
    QWidget *w = form.findChild<QWidget *>(names.first());
    for (int i = 0; w && i < 200 && chain.size() < names.size(); ++i) {
        if (names.contains(w->objectName()) && !chain.contains(w->objectName()))
            chain << w->objectName();
        w = w->nextInFocusChain();
    }
    return chain;
}

// What a test saw of a file chooser it cancelled.
struct SeenChooser {
    QString title;
    QString dir;
    QStringList filters;
    int mode = -1;
    QWidget *parent = nullptr;
};

// Records the next file chooser into `seen`, then cancels it.
inline void cancelNextChooser(SeenChooser &seen)
{
    handleNextModal(
        [&seen](QWidget *w) {
            auto *chooser = qobject_cast<QFileDialog *>(w);
            seen = {chooser->windowTitle(), chooser->directory().absolutePath(),
                chooser->nameFilters(), chooser->acceptMode(), chooser->parentWidget()};
            chooser->reject();
        },
        "QFileDialog");
}

// Picks `file` in the next file chooser. selectFile() leaves a focused name
// field alone while the directory is still loading, so the path is typed.
inline void chooseInNextChooser(const QString &file)
{
    handleNextModal(
        [file](QWidget *w) {
            auto *chooser = qobject_cast<QFileDialog *>(w);
            chooser->findChild<QLineEdit *>("fileNameEdit")->setText(file);
            static_cast<QDialog *>(chooser)->accept();
        },
        "QFileDialog");
}
