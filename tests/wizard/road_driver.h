#pragma once
// Walks through the wizard as a user does: a list of steps, each waiting until the screen is as it
// expects and then moving the real mouse or typing on the real keyboard of the X server (by
// xdotool). The driver lives in the wizard's own process, so it finds controls by their names; it
// touches none.

#include <QObject>
#include <QString>
#include <QTimer>

#include <deque>
#include <functional>
#include <string>

class QWidget;

namespace vantry {

class RoadDriver : public QObject {
public:
    // `pictures`: the folder for a screenshot of each page passed, and of the last sight of a
    // failure.
    explicit RoadDriver(std::string pictures);

    // A page of that name is there to be used, with nothing modal before it.
    void Page(const std::string& name);
    // A picture of the screen.
    void Shot(const std::string& name);
    // Clicks into the middle of the page's control.
    void Click(const std::string& page, const std::string& control);
    // Clicks a cell of a table or an entry of a list, or the entry's tick.
    void ClickCell(const std::string& page, const std::string& table, int row, int column);
    void ClickEntry(const std::string& page,
                    const std::string& list,
                    const std::string& text,
                    bool tick = false);
    // Clicks into a line and replaces what stands there; the second where the focus is.
    void Type(const std::string& page, const std::string& line, const std::string& text);
    void Retype(const std::string& text);
    // As xdotool names them: "alt+n", "Return"; as soon as the page is there to be used.
    void Keys(const std::string& keys);
    void Keys(const std::string& page, const std::string& keys);
    void TypeText(const std::string& text);
    // A message box with that text is there; `key` answers it.
    void Box(const std::string& text, const std::string& key);
    // A file or folder chooser is there: types the path and confirms.
    void Choose(const std::string& path);
    // Waits for anything else.
    void Until(const std::string& what, std::function<bool()> holds, int seconds = 20);
    void Do(const std::string& what, std::function<void()> action);

    // Starts walking; ends the program with 0 behind the last step, with 1 at one that can't be
    // done.
    void Start();

private:
    struct Step {
        std::string what;
        std::function<bool()> ready;
        std::function<void()> act;
        int seconds = 20;
    };
    void Add(std::string what, std::function<bool()> ready, std::function<void()> act);
    // A step on a control of a page that is there to be used; the first one on it takes a picture.
    void AddOn(const std::string& page,
               const std::string& control,
               std::string what,
               std::function<bool()> ready,
               std::function<void(QWidget&)> act);
    void Tick();
    void Fail(const std::string& why);
    void Shoot(const std::string& name);

    std::deque<Step> steps_;
    QTimer timer_;
    std::string pictures_;
    std::string pictured_;  // the page of the last picture
    int waited_ = 0;
    int settled_ = 0;
    int pictures_taken_ = 0;
    bool busy_ = false;
};

}  // namespace vantry
