#pragma once
// A page of the wizard, or one of the windows beside it. Its object name is its name ("Form1").
// Pages are loaded, shown, hidden and unloaded by name (page_set.h): a hidden page keeps what its
// controls hold, an unloaded one loses it.

#include <QWidget>

class QAbstractButton;

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

protected:
    void closeEvent(QCloseEvent* event) override;
    // Enter presses the page's default button, as in a dialog, unless a control wants it.
    void keyPressEvent(QKeyEvent* event) override;
    // Escape presses this button.
    void SetEscapeButton(QAbstractButton* button);

private:
    Place place_;
};

}  // namespace vantry
