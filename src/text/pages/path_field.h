#pragma once
// A field into which a path can be typed as well as browsed for. What was typed is taken when the
// field is left, and by Enter, which then doesn't press the page's default button; Enter on a path
// that has been taken does.

#include <QObject>
#include <QString>

#include <functional>

class QEvent;
class QLineEdit;

namespace vantry {

bool IsEnterKey(const QEvent& event);

class PathField : public QObject {
    Q_OBJECT
public:
    // `take` reads the field and shows what is there; false: nothing, and the next Enter tries
    // again.
    PathField(QLineEdit& field, std::function<bool()> take);

    void Take();
    // For buttons that go by the path: they may come before a field that was left is taken.
    void TakeTyped();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void TakeLeftSoon();

    QLineEdit& field_;
    std::function<bool()> take_;
    QString taken_;
    bool typed_ = false;  // and not taken yet
};

}  // namespace vantry
