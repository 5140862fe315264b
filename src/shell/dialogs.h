#pragma once
// The one place by which pages ask and tell: message boxes, file choosers, the desktop's opener.
// Tests put their own in, answer from a list and see every text, title, icon and button.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class QWidget;

namespace vantry {

enum class BoxIcon { None, Stop, Information, Question, Warning };
enum class BoxButtons { Ok, YesNo, RetryCancel };
enum class BoxAnswer { Ok, Yes, No, Retry, Cancel };

// What a box without a title of its own is called.
inline constexpr std::string_view kDefaultTitle = "Vantry";

struct Box {
    std::string text;
    std::string title{kDefaultTitle};
    BoxIcon icon = BoxIcon::None;
    BoxButtons buttons = BoxButtons::Ok;
    // The button that Enter presses. Without one it is the first: Ok, Yes, Retry.
    std::optional<BoxAnswer> preset;
};

// `filter` is a list of pairs "description|patterns|description|patterns", patterns parted by ";":
// "MS Access (*.mdb,*.accdb)|*.mdb;*.accdb|All Files (*.*)|*.*". Letter case doesn't count.
struct FileChoice {
    std::string title;
    std::string filter;
    std::string start;  // the file or folder that stands there at first
    std::string default_suffix;
    std::string hint{};  // shown in the field for the name as long as that is empty
};

class Dialogs {
public:
    virtual ~Dialogs() = default;

    // A closed box answers No or Cancel where there is one, else Ok.
    virtual BoxAnswer Show(const Box& box) = 0;
    virtual void Beep() = 0;
    // Nothing: the user cancelled.
    virtual std::optional<std::string> ChooseFileToOpen(const FileChoice& choice) = 0;
    // Asks before a file that exists is taken.
    virtual std::optional<std::string> ChooseFileToSave(const FileChoice& choice) = 0;
    virtual std::optional<std::string> ChooseFolder(const std::string& title,
                                                    const std::string& start) = 0;
    // Hands a document or a web address to the desktop. False when nothing can show it.
    virtual bool Open(const std::string& path_or_address) = 0;
};

// The ones in use; at first the real ones.
Dialogs& CurrentDialogs();
// Puts others in as long as the object lives.
class DialogsReplacement {
public:
    explicit DialogsReplacement(Dialogs& dialogs);
    ~DialogsReplacement();
    DialogsReplacement(const DialogsReplacement&) = delete;
    DialogsReplacement& operator=(const DialogsReplacement&) = delete;

private:
    Dialogs* former_;
};

// Short forms for what pages say most.
void Tell(std::string text, std::string title = std::string(kDefaultTitle));
void TellStop(std::string text, std::string title = std::string(kDefaultTitle));
bool AskYesNo(std::string text, std::string title);

}  // namespace vantry
