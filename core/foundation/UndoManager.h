#pragma once

// The document's undo manager. Each undoable primitive registers its partner (the operation that
// reverses it) before it changes anything, and names the action. Undoing runs the partner, which
// registers its own partner in turn: while undoing, that registration goes to the redo stack;
// while redoing, back to the undo stack. A registration made outside undo and redo clears the
// redo stack, as a new edit does in every desktop program.
//
// Registrations between beginUndoGrouping and endUndoGrouping form one step; any other
// registration is a step of its own.

#include <QString>

#include <functional>
#include <vector>

namespace qv {

class UndoManager {
public:
    using Action = std::function<void()>;

    void registerUndo(Action partner);
    // Names the step being built (or, while undoing, the step going to the redo stack).
    void setActionName(const QString& name);

    void beginUndoGrouping();
    void endUndoGrouping();

    bool canUndo() const { return !undo_.empty(); }
    bool canRedo() const { return !redo_.empty(); }
    void undo();
    void redo();
    bool isUndoing() const { return mode_ == Mode::Undoing; }
    bool isRedoing() const { return mode_ == Mode::Redoing; }

    QString undoActionName() const;
    QString redoActionName() const;
    // "Undo Add Record", or "Undo" when the step has no name.
    QString undoMenuItemTitle() const;
    QString redoMenuItemTitle() const;

    void removeAllActions();
    void disableUndoRegistration() { ++disabled_; }
    void enableUndoRegistration() {
        if (disabled_ > 0) --disabled_;
    }
    bool isUndoRegistrationEnabled() const { return disabled_ == 0; }

private:
    struct Group {
        std::vector<Action> actions;
        QString name;
    };
    enum class Mode { Normal, Undoing, Redoing };
    std::vector<Group>& target() { return mode_ == Mode::Undoing ? redo_ : undo_; }
    void run(std::vector<Group>& from, Mode mode);

    std::vector<Group> undo_, redo_;
    Mode mode_ = Mode::Normal;
    int openGroups_ = 0;
    bool groupStarted_ = false;  // the innermost explicit group already has a step on the stack
    int disabled_ = 0;
};

}  // namespace qv
