#pragma once
// How far a run is, on the program's icon in the taskbar or dock, where the desktop shows such a
// thing: the signal "Update" of com.canonical.Unity.LauncherEntry on the session's bus, a name for
// what several desktops understand. Nothing where there is no bus.

namespace vantry {

class TaskbarProgress {
public:
    TaskbarProgress() = default;
    ~TaskbarProgress() { Hide(); }
    TaskbarProgress(const TaskbarProgress&) = delete;
    TaskbarProgress& operator=(const TaskbarProgress&) = delete;

    // From 0 to 1. Cheap: tells the desktop only what the eye could see.
    void Show(double fraction);
    void Hide();

private:
    double shown_ = -1;  // below 0: nothing is
};

}  // namespace vantry
