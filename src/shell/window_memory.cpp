#include "shell/window_memory.h"

#include "shell/qt_text.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <memory>

namespace vantry {
namespace {

constexpr std::size_t kMostRecent = 10;

std::unique_ptr<QSettings>& Memory() {
    static std::unique_ptr<QSettings> memory;
    return memory;
}

// A kind may be a sentence with any sign in it; some of them part the groups of a key.
QString Key(const char* group, std::string_view kind) {
    return QString(group) + "/" + QString::fromLatin1(ToQt(kind).toUtf8().toPercentEncoding());
}

QVariant Recall(const QString& key) {
    return Memory() == nullptr ? QVariant() : Memory()->value(key);
}

void Keep(const QString& key, const QVariant& value) {
    // Each sync writes the file: a value that is the same needn't be kept again.
    if (Memory() != nullptr && Memory()->value(key) != value) {
        Memory()->setValue(key, value);
        // The program ends without clean-up.
        Memory()->sync();
    }
}

void KeepRecent(std::string_view kind, const std::vector<std::string>& paths) {
    QStringList kept;
    for (std::size_t i = 0; i < std::min(paths.size(), kMostRecent); ++i) {
        kept << ToQt(paths[i]);
    }
    Keep(Key("Recent", kind), kept);
}

}  // namespace

void UseWindowMemory(const std::string& path) {
    Memory() =
        path.empty() ? nullptr : std::make_unique<QSettings>(ToQt(path), QSettings::IniFormat);
}

QByteArray FramePlace() {
    return Recall("Frame/Place").toByteArray();
}

void KeepFramePlace(const QByteArray& place) {
    Keep("Frame/Place", place);
}

std::string LastFolder(std::string_view kind) {
    const QString folder = Recall(Key("Folders", kind)).toString();
    // A folder that has gone since would make the chooser begin at nowhere.
    return QFileInfo(folder).isDir() ? FromQt(folder) : std::string();
}

void KeepLastFolder(std::string_view kind, const std::string& folder) {
    Keep(Key("Folders", kind), ToQt(folder));
}

std::vector<std::string> RecentPaths(std::string_view kind) {
    std::vector<std::string> paths;
    for (const auto& path : Recall(Key("Recent", kind)).toStringList()) {
        paths.push_back(FromQt(path));
    }
    return paths;
}

void KeepRecentPath(std::string_view kind, const std::string& path) {
    auto paths = RecentPaths(kind);
    std::erase(paths, path);
    paths.insert(paths.begin(), path);
    KeepRecent(kind, paths);
}

void ForgetRecentPath(std::string_view kind, const std::string& path) {
    auto paths = RecentPaths(kind);
    if (std::erase(paths, path) > 0) {
        KeepRecent(kind, paths);
    }
}

ForgetfulToolkit::ForgetfulToolkit()
    : former_(QFileInfo(QSettings(QSettings::NativeFormat, QSettings::UserScope, "any").fileName())
                  .absolutePath()) {
    QTemporaryDir own;
    // The folder outlives this variable: ~ForgetfulToolkit removes it.
    own.setAutoRemove(false);
    if (own.isValid()) {
        own_ = own.path();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, own_);
    }
}

ForgetfulToolkit::~ForgetfulToolkit() {
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, former_);
    if (!own_.isEmpty()) {
        QDir(own_).removeRecursively();
    }
}

}  // namespace vantry
