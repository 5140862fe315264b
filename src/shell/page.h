#pragma once
// A page of the wizard, or one of the windows beside it. Its object name is its name ("Form1").
// Pages are loaded, shown, hidden and unloaded by name (page_set.h): a hidden page keeps what its
// controls hold, an unloaded one loses it.

#include "shell/path_entry.h"
#include "shell/status_line.h"

#include <QString>
#include <QWidget>

#include <functional>
#include <string>
#include <vector>

class QAbstractButton;
class QComboBox;
class QLineEdit;

namespace vantry {

class Page : public QWidget {
    Q_OBJECT
public:
    enum class Place {
        Frame,   // a window within the main window
        Notice,  // there, too, without buttons in its title: it goes by itself
        Window,  // a window of its own: splash and the like
    };

    explicit Page(const char* name, Place place = Place::Frame);

    // Once, before the page is first shown. May unload its own page.
    virtual void OnLoad() {}
    // Each time that the page becomes the active one, the first showing included.
    virtual void OnActivate();
    // The user closes the window: false keeps it. Unloading by code doesn't ask.
    virtual bool QueryUnload() { return true; }

    Place WherePlaced() const { return place_; }

    // What this page's side of the session is, as it would be used now; for source and target
    // pages. Empty while nothing is connected.
    virtual std::string SideInWords() const;
    // What the status bar says while this page is the active one: that a field has changed since it
    // was connected, which comes first, or what the page has to say.
    Notice CurrentNotice() const;
    void SetNotice(Notice notice);
    void SetNotice(std::string text, NoticeKind kind = NoticeKind::Information);

protected:
    // A field for a file or folder. `kind` names its list of those that were used lately.
    PathEntry& TakesPath(QLineEdit& field,
                         const char* kind,
                         PathUse use = PathUse::InConnectionString);
    // What stands in these fields is used now. Connected() says so, too.
    void RememberPaths();

    // Fields that say what is connected: file or server first, then user, password, method. From
    // Connected() on the status bar warns while one of them differs from what it was then.
    void WatchField(QLineEdit& field);
    void WatchField(QComboBox& field);
    void WatchField(QAbstractButton& field);
    // The connection string of the page's side leads to what stands in the fields.
    void Connected();
    // The last try failed: nothing is connected.
    void NotConnected();
    bool IsConnected() const { return connected_; }
    // Enter in one of those fields that are typed into presses this button, and not the page's
    // default one, as long as they don't say what is connected.
    void ConnectsByEnter(QAbstractButton& button) { connect_buttons_.push_back(&button); }

    void closeEvent(QCloseEvent* event) override;
    // Enter presses the page's default button and Escape its Cancel, as in a dialog, unless a
    // control wants the key.
    void keyPressEvent(QKeyEvent* event) override;
    // Escape presses this button, whatever has the focus; for buttons other than Cancel.
    void SetEscapeButton(QAbstractButton* button);

private:
    struct WatchedField {
        std::function<QString()> text;
        QString connected;  // the text as it was connected
    };
    void Watch(std::function<QString()> text);
    Notice StaleField() const;
    QAbstractButton* ConnectButtonForEnter() const;
    Notice UnusablePath() const;

    Place place_;
    std::vector<WatchedField> watched_;
    std::vector<const QWidget*> typed_into_;
    std::vector<QAbstractButton*> connect_buttons_;
    std::vector<PathEntry*> paths_;
    bool connected_ = false;
    std::string connected_place_;
    Notice notice_;
};

}  // namespace vantry
