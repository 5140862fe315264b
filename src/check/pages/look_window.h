#pragma once
// The windows by which a user looks before a copy: over the frame, closed by Escape, as large as
// their contents ask and the screen has room for.

#include <QDialog>

class QVBoxLayout;

namespace vantry {

class LookWindow : public QDialog {
    Q_OBJECT
public:
    // `name` is the object's; `share`: of the frame's width and height.
    LookWindow(const char* name, const QString& title, QWidget* parent);

protected:
    QVBoxLayout* Rows() const { return rows_; }

private:
    QVBoxLayout* rows_;
};

}  // namespace vantry
