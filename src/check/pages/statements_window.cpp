#include "check/pages/statements_window.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace vantry {

StatementsWindow::StatementsWindow(const QString& title, const QString& statements, QWidget* parent)
    : LookWindow("StatementsWindow", title, parent) {
    auto* const text = new QPlainTextEdit(statements, this);
    text->setObjectName("Statements");
    text->setAccessibleName("Statements");
    text->setReadOnly(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    Rows()->addWidget(text);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    auto* const copy = buttons->addButton("Co&py All", QDialogButtonBox::ActionRole);
    connect(copy, &QPushButton::clicked, this, [text] {
        QGuiApplication::clipboard()->setText(text->toPlainText());
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    Rows()->addWidget(buttons);
    text->setFocus();
}

}  // namespace vantry
