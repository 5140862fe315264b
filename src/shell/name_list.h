#pragma once
// What a list of names has besides its names: a line to filter them by and the count of the chosen
// ones where they are many, Ctrl+A for those in view, and a reason where it is empty.
//
// Each list of a page gets one by ApplyLook. What stands in an empty list before anything was
// looked for is the list's dynamic property "whenEmpty".

#include <QObject>

class QLabel;
class QLineEdit;
class QListWidget;
class QWidget;

namespace vantry {

// More names than these have a filter.
inline constexpr int kNamesWithoutFilter = 30;

// It was looked, and nothing found: said until the list is filled or cleared again.
void SayNoneFound(QListWidget& list, const QString& why);

// Ticks or selects all names that the filter leaves in view.
void ChooseAllInView(QListWidget& list);

class NameList : public QObject {
    Q_OBJECT
public:
    // A child of the list; finds the list's place in the layouts of `page`.
    NameList(QListWidget& list, QWidget& page);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ShowHintReadably();
    void PlaceRow(QWidget& page);
    void RefreshSoon();
    void Refresh();
    void ShowCount();
    bool FilterKey(int key);

    QListWidget& list_;
    QWidget* row_;  // filter and count
    QLineEdit* filter_;
    QLabel* count_;
    QLabel* reason_;
    int own_height_;  // the list's least height without the row
    bool waiting_ = false;
};

}  // namespace vantry
