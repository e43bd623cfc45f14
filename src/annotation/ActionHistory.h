#pragma once

#include "annotation/DWStroke.h"

#include <QList>
#include <QString>
#include <memory>

// A text placed on the canvas, as the history sees it. The canvas backs it
// with a text field; tests back it with a plain object.
class TextItem {
public:
    virtual ~TextItem() = default;
    virtual QString text() const = 0;
    // Still being typed (a field with a border), or finished (drawn by the
    // canvas itself).
    virtual bool isEditing() const = 0;
    // Ends the typing: the border goes, the field hides and takes no more keys.
    virtual void finishEditing() = 0;
    // Taken off the canvas (undo, clear) or put back (redo).
    virtual void setOnCanvas(bool onCanvas) = 0;
};

// One entry of the history: a stroke or a text, never both.
struct ActionItem {
    std::shared_ptr<DWStroke> stroke;
    std::shared_ptr<TextItem> text;

    bool isText() const { return text != nullptr; }
    friend bool operator==(const ActionItem&, const ActionItem&) = default;
};

// What the canvas has drawn, oldest first, and what was undone, last undone
// last. Undo and redo move the newest item from one list to the other; a new
// stroke and a clear leave the undone list as it is, so an undone item can
// still come back after either.
//
// Main thread only (it lives inside DrawTouchPointView); needs no display.
class ActionHistory {
public:
    const QList<ActionItem>& actionStroks() const { return actionStroks_; }
    const QList<ActionItem>& redoActionStroks() const { return redoActionStroks_; }

    void append(ActionItem item) { actionStroks_.append(std::move(item)); }

    // The newest stroke, or nullptr when the newest item is a text or there
    // is none: the one the pointer is drawing.
    DWStroke* lastStroke() const;

    // Undo: the newest item moves to the undone list (a text leaves the
    // canvas). False when there was nothing to undo.
    bool revoke();
    // Redo: the last undone item comes back (a text returns to the canvas).
    // False when there was nothing to redo.
    bool undoRevoke();
    // Empties the drawn list, newest first, taking texts off the canvas; the
    // undone list stays.
    void clear();

    // When the newest item is a text, finishes its typing; an empty text is
    // then dropped, as if it had never been placed. Returns the text that
    // was finished and kept, or nullptr.
    std::shared_ptr<TextItem> finishPendingText();

private:
    QList<ActionItem> actionStroks_;
    QList<ActionItem> redoActionStroks_;
};
