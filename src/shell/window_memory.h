#pragma once
// What the windows remember from one start to the next, in a file of the user's: the frame's place,
// in which folder a chooser was left, which files and folders were used lately. Without a file, or
// where it can't be written, they forget; nobody is told, as nothing of a session is in it.

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// From now on in this file; "" is none. `path` is made when there is something to remember.
void UseWindowMemory(const std::string& path);

// As QWidget::saveGeometry gives it; empty when none is known.
QByteArray FramePlace();
void KeepFramePlace(const QByteArray& place);

// The kind of a chooser or a field is any text; those of one kind share what they remember.
// Empty when none is known, or when the folder is gone.
std::string LastFolder(std::string_view kind);
void KeepLastFolder(std::string_view kind, const std::string& folder);

// The latest first, without repetitions.
std::vector<std::string> RecentPaths(std::string_view kind);
void KeepRecentPath(std::string_view kind, const std::string& path);

void ForgetRecentPath(std::string_view kind, const std::string& path);

// As long as it lives, what the toolkit itself keeps of a chooser goes into a folder that vanishes
// with it, and not under the toolkit's name into the user's settings.
class ForgetfulToolkit {
public:
    ForgetfulToolkit();
    ~ForgetfulToolkit();
    ForgetfulToolkit(const ForgetfulToolkit&) = delete;
    ForgetfulToolkit& operator=(const ForgetfulToolkit&) = delete;

private:
    QString former_;
    QString own_;
};

}  // namespace vantry
