#pragma once
// The help: the compiled file or the folder beside the programs, and F1.

#include <QObject>

#include <string>
#include <string_view>

namespace vantry {

// The shared help routine of every help button and the menu: the help file, at its start. Where the
// desktop shows no compiled help, the folder beside it.
void OpenHelp();
// A page of the folder, "sessions.html".
void OpenHelpPage(std::string_view file);
// The first copy step by step.
void OpenTour();
// The web page of the product: a page of the help, as long as there is no site of its own.
void OpenWebPage();

// The help about a page of the program, by its name; empty for one without any.
std::string_view HelpPageOf(std::string_view page);

// F1 anywhere in the program opens the help about the window in front. As long as it lives.
class HelpKey : public QObject {
public:
    // `otherwise`: where no page is in front.
    explicit HelpKey(std::string_view otherwise, QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::string otherwise_;
};

}  // namespace vantry
