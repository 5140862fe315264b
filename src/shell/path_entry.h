#pragma once
// A field for the path of a file or folder: it takes what a file manager hands out ("file:///"
// addresses, dropped files) and "~/", and has a list of the paths of its kind that were used
// lately, which Alt+Down opens.

#include <QObject>

#include <cstdint>
#include <string>

class QAction;
class QLineEdit;

namespace vantry {

// Where a path goes, and so which signs it can't have.
enum class PathUse : std::uint8_t {
    InConnectionString,  // no semicolon, which ends a value there, and no double quote
    InSession,           // no double quote: stored texts stand between two
};

class PathEntry : public QObject {
    Q_OBJECT
public:
    // Becomes the field's child. Fields of one kind share their list.
    PathEntry(QLineEdit& field, std::string kind, PathUse use);

    // What stands in the field was used: the list begins with it.
    void Remember();
    // It turned out to be of no use.
    void Forget();
    // Why the path in the field can't be used, as the user would read it; empty when it can, or
    // while the field is off.
    std::string Objection() const;

Q_SIGNALS:
    // A path was dropped or chosen from the list, which counts as browsing for it.
    void Picked();

public:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Straighten();
    void Replace(const QString& path);
    void Pick(const QString& path);
    void OfferRecent();
    void ShowSign();

    QLineEdit& field_;
    std::string kind_;
    PathUse use_;
    QAction* recent_;
};

}  // namespace vantry
