// The desktop's own boxes and choosers behind the interface of dialogs.h; DialogsReplacement puts a
// test's in their place.
// Easy to get wrong: the texts come from servers and files. They may hold markup, three kinds of
// line ends, or a megabyte; a box shows them as plain text, and so much of them as a small screen
// has room for.
#include "shell/dialogs.h"

#include "shell/contrast.h"
#include "shell/qt_text.h"
#include "shell/window_memory.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QIdentityProxyModel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>
#include <QUrl>

#include <algorithm>

namespace vantry {
namespace {

QMessageBox::Icon IconOf(BoxIcon icon) {
    switch (icon) {
        case BoxIcon::Stop:
            return QMessageBox::Critical;
        case BoxIcon::Information:
            return QMessageBox::Information;
        case BoxIcon::Question:
            return QMessageBox::Question;
        case BoxIcon::Warning:
            return QMessageBox::Warning;
        case BoxIcon::None:
            break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButton ButtonOf(BoxAnswer answer) {
    switch (answer) {
        case BoxAnswer::Yes:
            return QMessageBox::Yes;
        case BoxAnswer::No:
            return QMessageBox::No;
        case BoxAnswer::Retry:
            return QMessageBox::Retry;
        case BoxAnswer::Cancel:
            return QMessageBox::Cancel;
        case BoxAnswer::Ok:
            break;
    }
    return QMessageBox::Ok;
}

// The first is the default, the last the careful one (see Show).
std::vector<BoxAnswer> AnswersOf(BoxButtons buttons) {
    switch (buttons) {
        case BoxButtons::YesNo:
            return {BoxAnswer::Yes, BoxAnswer::No};
        case BoxButtons::RetryCancel:
            return {BoxAnswer::Retry, BoxAnswer::Cancel};
        case BoxButtons::Ok:
            break;
    }
    return {BoxAnswer::Ok};
}

// "A (*.x)|*.x|B|*.y;*.z" as the toolkit wants it, with both letter cases of each pattern.
QString QtFilter(const std::string& filter) {
    const auto parts = ToQt(filter).split('|');
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QStringList patterns;
        for (const auto& pattern : parts[i + 1].split(';', Qt::SkipEmptyParts)) {
            if (pattern == "*.*") {
                patterns << "*";  // a name without a dot is a file, too
                continue;
            }
            patterns << pattern;
            // "*.mdb" has to find OLD.MDB, too; file systems here tell letter cases apart.
            if (pattern.toUpper() != pattern) {
                patterns << pattern.toUpper();
            }
        }
        QString name = parts[i];
        // The chooser shows patterns by itself: given twice, they would stand there twice.
        if (const auto bracket = name.indexOf('('); bracket > 0) {
            name.truncate(bracket);
        }
        filters << name.trimmed() + " (" + patterns.join(' ') + ")";
    }
    return filters.join(";;");
}

// Choosers of one kind begin where the last one of it was left: by the first ending of their files,
// as the lists that go with it differ, or by the title of one for folders.
std::string KindOf(const FileChoice& choice) {
    const auto parts = ToQt(choice.filter).split('|');
    const auto endings = parts.value(1).split(';');
    return parts.size() > 1 ? FromQt(endings.first()) : choice.title;
}

// A text of which a box would be higher than a small screen with large letters, cut; others whole.
QString RowsForABox(const QString& text) {
    constexpr qsizetype kMostRows = 25;
    constexpr qsizetype kLettersInARow = 50;
    qsizetype rows_left = kMostRows;
    for (qsizetype line = 0; line < text.size();) {
        const qsizetype found = text.indexOf('\n', line);
        const qsizetype end = found < 0 ? text.size() : found;
        const qsizetype rows =
            std::max<qsizetype>(1, (end - line + kLettersInARow - 1) / kLettersInARow);
        if (rows > rows_left) {
            qsizetype cut = line + rows_left * kLettersInARow;
            // Not through a letter of two units.
            cut -= cut > 0 && text[cut - 1].isHighSurrogate() ? 1 : 0;
            return text.first(cut) + u'\x2026';
        }
        rows_left -= rows;
        line = end + 1;
    }
    return text;
}

// Whoever looks for the folder that has the files wants to see them there, though none of them can
// be taken.
class FilesInGrey : public QIdentityProxyModel {
public:
    using QIdentityProxyModel::QIdentityProxyModel;
    Qt::ItemFlags flags(const QModelIndex& index) const override {
        const auto* const files = qobject_cast<const QFileSystemModel*>(sourceModel());
        const bool is_file = files != nullptr && !files->isDir(mapToSource(index));
        return is_file ? Qt::NoItemFlags : QIdentityProxyModel::flags(index);
    }
};

class DesktopDialogs : public Dialogs {
public:
    BoxAnswer Show(const Box& box) override {
        QMessageBox window(QApplication::activeWindow());
        window.setObjectName("MessageBox");
        window.setIcon(IconOf(box.icon));
        window.setWindowTitle(ToQt(box.title));
        // Texts come from data sources, too: none of them is markup.
        window.setTextFormat(Qt::PlainText);
        // Lines end as the text's maker ended them; a label knows one way only.
        const QString text = ToQt(box.text).replace("\r\n", "\n").replace('\r', '\n');
        window.setText(RowsForABox(text));
        const auto answers = AnswersOf(box.buttons);
        for (const auto answer : answers) {
            window.addButton(ButtonOf(answer));
        }
        // Cut: the whole of it stands behind a button that unfolds it.
        if (window.text() != text) {
            window.setDetailedText(text);
        }
        window.setDefaultButton(ButtonOf(box.preset.value_or(answers.front())));
        // Escape and the close box mean the careful answer, which is the last one of each set.
        window.setEscapeButton(ButtonOf(answers.back()));
        // Who asks may be in the middle of work and have a busy pointer: over a box, and beside it,
        // it would tell the user to wait for what waits for him.
        QGuiApplication::setOverrideCursor(Qt::ArrowCursor);
        const auto pointer = qScopeGuard([] { QGuiApplication::restoreOverrideCursor(); });
        const auto pressed = window.exec();
        for (const auto answer : answers) {
            if (ButtonOf(answer) == pressed) {
                return answer;
            }
        }
        return answers.back();
    }

    void Beep() override { QApplication::beep(); }

    std::optional<std::string> ChooseFileToOpen(const FileChoice& choice) override {
        return Choose(choice, QFileDialog::AcceptOpen, QFileDialog::ExistingFile);
    }
    std::optional<std::string> ChooseFileToSave(const FileChoice& choice) override {
        return Choose(choice, QFileDialog::AcceptSave, QFileDialog::AnyFile);
    }
    std::optional<std::string> ChooseFolder(const std::string& title,
                                            const std::string& start) override {
        return Choose({title, "", start, ""}, QFileDialog::AcceptOpen, QFileDialog::Directory);
    }

    bool Open(const std::string& path_or_address) override {
        return QDesktopServices::openUrl(QUrl::fromUserInput(ToQt(path_or_address)));
    }

private:
    static std::optional<std::string> Choose(const FileChoice& choice,
                                             QFileDialog::AcceptMode accept,
                                             QFileDialog::FileMode mode) {
        // The toolkit would keep names of folders in a file of its own, for all programs of the
        // user.
        const ForgetfulToolkit forgetful;
        QFileDialog window(QApplication::activeWindow(), ToQt(choice.title));
        window.setObjectName("FileDialog");
        window.setAcceptMode(accept);
        window.setFileMode(mode);
        if (!choice.filter.empty()) {
            window.setNameFilter(QtFilter(choice.filter));
        }
        if (mode == QFileDialog::Directory) {
            window.setProxyModel(new FilesInGrey(&window));
        }
        if (auto* const name = window.findChild<QLineEdit*>("fileNameEdit")) {
            name->setPlaceholderText(ToQt(choice.hint));
            name->setPalette(WithReadableHints(name->palette()));
        }
        if (!choice.default_suffix.empty()) {
            window.setDefaultSuffix(ToQt(choice.default_suffix));
        }
        const std::string start_at =
            choice.start.empty() ? LastFolder(KindOf(choice)) : choice.start;
        if (!start_at.empty()) {
            const QFileInfo start(ToQt(start_at));
            // A folder is opened; of a file the folder is opened and the name proposed, whether it
            // exists or not.
            if (start.isDir()) {
                window.setDirectory(start.absoluteFilePath());
            } else {
                window.setDirectory(start.absolutePath());
                window.selectFile(start.fileName());
            }
        }
        if (window.exec() != QDialog::Accepted || window.selectedFiles().isEmpty()) {
            return std::nullopt;
        }
        KeepLastFolder(KindOf(choice), FromQt(window.directory().absolutePath()));
        return FromQt(window.selectedFiles().first());
    }
};

// Null: the desktop's own.
Dialogs*& Replacement() {
    static Dialogs* replacement = nullptr;
    return replacement;
}

}  // namespace

Dialogs& CurrentDialogs() {
    static DesktopDialogs desktop;
    return Replacement() != nullptr ? *Replacement() : desktop;
}

DialogsReplacement::DialogsReplacement(Dialogs& dialogs) : former_(Replacement()) {
    Replacement() = &dialogs;
}

DialogsReplacement::~DialogsReplacement() {
    Replacement() = former_;
}

void Tell(std::string text, std::string title) {
    CurrentDialogs().Show({std::move(text), std::move(title), BoxIcon::None, BoxButtons::Ok, {}});
}

void TellStop(std::string text, std::string title) {
    CurrentDialogs().Show({std::move(text), std::move(title), BoxIcon::Stop, BoxButtons::Ok, {}});
}

bool AskYesNo(std::string text, std::string title) {
    return CurrentDialogs().Show(
               {std::move(text), std::move(title), BoxIcon::None, BoxButtons::YesNo, {}}) ==
           BoxAnswer::Yes;
}

}  // namespace vantry
