#include "shell/splash.h"

#include "ui_frmSplash.h"

#include "shell/page_set.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>

namespace vantry {
namespace {

constexpr int kSplashMillis = 2500;

// Two tables and the arrow between them, in the colours of the theme.
QPixmap Picture(const QPalette& palette, QSize size, double scale) {
    QPixmap picture(size * scale);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter paint(&picture);
    paint.setRenderHint(QPainter::Antialiasing);
    const QColor line = palette.color(QPalette::Highlight);
    const QRectF left(4, 8, size.height() * 0.8, size.height() - 16);
    const QRectF right(size.width() - left.width() - 4, 8, left.width(), left.height());
    paint.setPen(QPen(line, 2));
    for (const auto& table : {left, right}) {
        paint.drawRoundedRect(table, 4, 4);
        const double row = table.height() / 4;
        paint.fillRect(QRectF(table.left(), table.top(), table.width(), row), line);
        for (int i = 2; i < 4; ++i) {
            paint.drawLine(QPointF(table.left(), table.top() + row * i),
                           QPointF(table.right(), table.top() + row * i));
        }
    }
    const double y = size.height() / 2.0;
    const QPointF from(left.right() + 12, y);
    const QPointF to(right.left() - 12, y);
    paint.setPen(QPen(line, 3, Qt::SolidLine, Qt::RoundCap));
    paint.drawLine(from, to);
    paint.drawLine(to, to + QPointF(-10, -8));
    paint.drawLine(to, to + QPointF(-10, 8));
    return picture;
}

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
    ui_->Image1->setPixmap(Picture(palette(), QSize(260, 84), devicePixelRatioF()));
    adjustSize();
    if (const auto* const screen = QGuiApplication::primaryScreen()) {
        move(screen->availableGeometry().center() - rect().center());
    }
    setFocusPolicy(Qt::StrongFocus);
    setFocus();
    Timer1.start(kSplashMillis);
}

void Splash::GoOn() {
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
