// Over the desktop's own interface for notes on the session's bus. Easy to get wrong: a program
// without a bus would have one started for it, and the note must not be read as markup: what comes
// from users stands in the summary line alone, which has none.

#include "programs/failure_notice.h"

#include "core/desktop_bus.h"
#include "data/message_text.h"
#include "data/value_text.h"
#include "repository/run_summary.h"
#include "shell/qt_text.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>

namespace vantry {
namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
constexpr int kCallTimeoutMs = 5000;
constexpr int kLongestMs = 3'600'000;

class Notice : public QObject {
    Q_OBJECT

public:
    explicit Notice(QString log_file) : log_file_(std::move(log_file)) {}

    bool Show(const QString& summary, const QString& body) {
        auto bus = QDBusConnection::sessionBus();
        if (!bus.isConnected()) {
            return false;
        }
        bus.connect(kService,
                    kPath,
                    kService,
                    QStringLiteral("ActionInvoked"),
                    this,
                    SLOT(Invoked(uint, QString)));
        bus.connect(kService,
                    kPath,
                    kService,
                    QStringLiteral("NotificationClosed"),
                    this,
                    SLOT(Closed(uint, uint)));
        QStringList actions;
        if (!log_file_.isEmpty()) {
            // Both: a click on the note is "default", and some desktops show only actions of
            // another name, as buttons.
            actions = {QStringLiteral("default"),
                       QStringLiteral("Open log"),
                       QStringLiteral("open-log"),
                       QStringLiteral("Open log")};
        }
        auto call =
            QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("Notify"));
        call.setArguments({QStringLiteral("Vantry"),
                           uint{0},
                           QStringLiteral("vantry"),
                           summary,
                           body,
                           actions,
                           QVariantMap(),
                           -1});
        const QDBusReply<uint> reply = bus.call(call, QDBus::Block, kCallTimeoutMs);
        id_ = reply.isValid() ? reply.value() : 0;
        return id_ != 0;
    }

private Q_SLOTS:
    void Invoked(uint id, const QString& /*action*/) {
        if (id == id_) {
            QProcess::startDetached(QStringLiteral("xdg-open"), {log_file_});
            QCoreApplication::quit();
        }
    }
    void Closed(uint id, uint /*reason*/) {
        if (id == id_) {
            QCoreApplication::quit();
        }
    }

private:
    QString log_file_;
    uint id_ = 0;
};

}  // namespace

int ShowFailureNotice(int& argc,
                      char** argv,
                      const std::string& session_name,
                      const std::string& how,
                      const std::string& log_file) {
    if (!HasDesktopBus()) {
        return 0;
    }
    const QCoreApplication application(argc, argv);
    Notice notice(ToQt(log_file));
    const auto code = ParseInt64(how.substr(how.rfind(' ') + 1));
    const auto why = log_file.empty() || !code || !how.starts_with("ended with exit code")
                         ? std::string()
                         : FailureIn(SummaryFileOf(log_file), static_cast<int>(*code));
    const auto body = "It " + how + "." + (why.empty() ? "" : " " + why);
    if (!notice.Show(ToQt("Session " + WithoutControls(session_name) + " failed"),
                     ToQt(WithoutControls(body)).toHtmlEscaped()) ||
        log_file.empty()) {
        return 0;
    }
    // A desktop that never says what became of the note would keep this process for ever.
    QTimer::singleShot(kLongestMs, &application, [] { QCoreApplication::quit(); });
    return QCoreApplication::exec();
}

}  // namespace vantry

#include "failure_notice.moc"
