#include "shell/splash.h"

#include "ui_frmSplash.h"

#include "shell/page_set.h"
#include "shell/product_picture.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>

namespace vantry {
namespace {

constexpr int kSplashMillis = 800;

}  // namespace

Splash::Splash() : Page("frmSplash", Place::Window), ui_(std::make_unique<Ui::frmSplash>()) {
    ui_->setupUi(this);
    setWindowFlags(Qt::SplashScreen | Qt::FramelessWindowHint);
    ui_->Version->setText("Version " + QCoreApplication::applicationVersion());
    ui_->Image1->installEventFilter(this);
    Timer1.setSingleShot(true);
    connect(&Timer1, &QTimer::timeout, this, &Splash::GoOn);
}

Splash::~Splash() = default;

void Splash::OnLoad() {
    ui_->Image1->setPixmap(ProductPicture(palette(), QSize(260, 84), devicePixelRatioF()));
    adjustSize();
    if (const auto* const screen = QGuiApplication::primaryScreen()) {
        move(screen->availableGeometry().center() - rect().center());
    }
    setFocusPolicy(Qt::StrongFocus);
    setFocus();
    Timer1.start(kSplashMillis);
}

void Splash::GoOn() {
    // Stopped after a click, or the timer would open the navigator a second time.
    Timer1.stop();
    UnloadPage("frmSplash");
    ShowPage("NavForm");
}

void Splash::keyPressEvent(QKeyEvent*) {
    Timer1.stop();
    UnloadPage("frmSplash");
}

bool Splash::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui_->Image1 && event->type() == QEvent::MouseButtonRelease) {
        GoOn();
        return true;
    }
    return Page::eventFilter(watched, event);
}

}  // namespace vantry
