#pragma once
// Walks through the wizard as a user does: a list of steps, each waiting until the screen is as it
// expects and then moving the real mouse or typing on the real keyboard of the X server (by
// xdotool). The driver lives in the wizard's own process, so it finds controls by their names; it
// touches none.

#include <QModelIndex>
#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdint>
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
    // Clicks a cell of a table or an entry of a list, by row and column.
    void ClickCell(const std::string& page, const std::string& table, int row, int column);
    void ClickEntry(const std::string& page, const std::string& list, const std::string& text);
    // The tick of an entry of a check list.
    void TickEntry(const std::string& page, const std::string& list, const std::string& text);
    void Keys(const std::string& keys);  // as xdotool names them: "alt+n", "Return"
    void TypeText(const std::string& text);

    // The same step by either hand. The keyboard goes by the letter of a control or of its label;
    // without one it gets there by Tab, and a button is pressed by the space bar.
    enum class Hand : std::uint8_t { Mouse, Keyboard };
    void Use(Hand hand) { hand_ = hand; }
    void Press(const std::string& page, const std::string& control);
    void Enter(const std::string& page, const std::string& control);  // it has the focus then
    // Replaces what stands in a line.
    void Fill(const std::string& page, const std::string& line, const std::string& text);
    // Selects an entry of a list.
    void Pick(const std::string& page, const std::string& list, const std::string& text);

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
    void ClickItem(const std::string& what,
                   const std::string& page,
                   const std::string& view,
                   const std::function<QModelIndex()>& find,
                   bool on_its_tick);
    void AddLetter(const std::string& page, const std::string& control);
    void Tick();
    void Fail(const std::string& why);
    void Shoot(const std::string& name);

    std::deque<Step> steps_;
    QTimer timer_;
    std::string pictures_;
    int waited_ = 0;
    int settled_ = 0;
    int pictures_taken_ = 0;
    bool busy_ = false;
    Hand hand_ = Hand::Mouse;
};

}  // namespace vantry
