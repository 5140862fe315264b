#pragma once
// The windows by which a user looks before a copy: over the frame, closed by Escape, of a size that
// goes by the font and stays within the screen.

#include <QDialog>

class QVBoxLayout;

namespace vantry {

class LookWindow : public QDialog {
    Q_OBJECT
public:
    // `name` is the object's.
    LookWindow(const char* name, const QString& title, QWidget* parent);

protected:
    QVBoxLayout* Rows() const { return rows_; }

private:
    QVBoxLayout* rows_;
};

}  // namespace vantry
