#pragma once
// The push button of every page. It looks as the desktop's style draws buttons, with a plate of
// another colour where one is set.

#include <QPushButton>

namespace vantry {

class PlateButton : public QPushButton {
    Q_OBJECT
    // Without a colour set: the style's own.
    Q_PROPERTY(QColor BackColor READ BackColor WRITE SetBackColor)
    Q_PROPERTY(QColor ForeColor READ ForeColor WRITE SetForeColor)
    Q_PROPERTY(QString Caption READ Caption WRITE SetCaption)
    Q_PROPERTY(bool Enabled READ isEnabled WRITE setEnabled)
    Q_PROPERTY(int MousePointer READ MousePointer WRITE SetMousePointer)
    Q_PROPERTY(QFont Font READ font WRITE setFont)
    Q_PROPERTY(QString ToolTipText READ toolTip WRITE setToolTip)

public:
    explicit PlateButton(QWidget* parent = nullptr);

    // The caption as it is read: without the mark of the mnemonic, which SetCaption keeps when it
    // sets the caption that stands there already.
    QString Caption() const;
    void SetCaption(const QString& caption);

    QColor BackColor() const;
    void SetBackColor(const QColor& color);
    QColor ForeColor() const;
    void SetForeColor(const QColor& color);

    // A shape by its number (Qt::CursorShape); -1 is the window's own.
    int MousePointer() const;
    void SetMousePointer(int shape);

Q_SIGNALS:
    void Click();

protected:
    void paintEvent(QPaintEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    bool default_without_focus_ = false;
};

}  // namespace vantry
