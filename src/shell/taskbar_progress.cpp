#include "shell/taskbar_progress.h"

#include "core/desktop_bus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantMap>

#include <algorithm>
#include <cmath>
#include <utility>

namespace vantry {
namespace {

constexpr double kSmallestStep = 0.005;

void Tell(double fraction, bool visible) {
    if (!HasDesktopBus()) {
        return;
    }
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return;
    }
    auto update = QDBusMessage::createSignal(QStringLiteral("/org/vantry/Vantry"),
                                             QStringLiteral("com.canonical.Unity.LauncherEntry"),
                                             QStringLiteral("Update"));
    // By the name of the desktop file, whose icon both programs have.
    update << QStringLiteral("application://vantry.desktop")
           << QVariantMap{{QStringLiteral("progress"), fraction},
                          {QStringLiteral("progress-visible"), visible}};
    bus.send(update);
}

}  // namespace

void TaskbarProgress::Show(double fraction) {
    fraction = std::clamp(fraction, 0.0, 1.0);
    if (shown_ >= 0 && std::abs(fraction - shown_) < kSmallestStep) {
        return;
    }
    shown_ = fraction;
    Tell(fraction, true);
}

void TaskbarProgress::Hide() {
    if (std::exchange(shown_, -1) >= 0) {
        Tell(0, false);
    }
}

}  // namespace vantry
