#include "repository/pages/show_log.h"

#include "ui_ShowLog.h"

#include "shell/dialogs.h"

#include <QLocale>
#include <QShortcut>

namespace vantry {
namespace {

// What the text box leaves free of the window, right and below, in twips.
constexpr int kFreeWidth = 170;
constexpr int kFreeHeight = 550;
constexpr int kTwipsPerPixel = 15;

}  // namespace

ShowLog::ShowLog() : Page("ShowLog"), ui_(std::make_unique<Ui::ShowLog>()) {
    ui_->setupUi(this);
    connect(ui_->Text1, &LogText::Moved, this, &ShowLog::TellPlace);
    auto* const escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, this, &QWidget::close);
}

ShowLog::~ShowLog() = default;

bool ShowLog::Read(const std::string& path) {
    try {
        ui_->Text1->OpenLog(path);
        return true;
    } catch (const std::exception&) {
        Tell("Error Loading Logfile. LogFile Does not exist or Invalid");
        return false;
    }
}

void ShowLog::TellPlace() {
    const QString size = QLocale().formattedDataSize(
        static_cast<qint64>(ui_->Text1->LogSize()), 1, QLocale::DataSizeTraditionalFormat);
    ui_->Place->setText(ui_->Text1->FollowsEnd()
                            ? size + ". New lines are shown as they are written."
                            : size + ". The key End goes to the last line and follows new ones.");
}

void ShowLog::resizeEvent(QResizeEvent* event) {
    Page::resizeEvent(event);
    if (isMinimized()) {
        return;
    }
    constexpr int kLeft = kFreeWidth / kTwipsPerPixel / 2;
    constexpr int kBelow = kFreeHeight / kTwipsPerPixel;
    ui_->Text1->setGeometry(kLeft, kLeft, width() - kFreeWidth / kTwipsPerPixel, height() - kBelow);
    const int top = ui_->Text1->geometry().bottom() + 1;
    ui_->Place->setGeometry(kLeft, top, ui_->Text1->width(), height() - top);
    TellPlace();
}

}  // namespace vantry
