#pragma once
// The error policy of the row loaders and the text writer: a failing statement is logged and
// counted, the walk goes on with the statement after it, and the whole walk is given up when the
// count reaches its limit. A statement is what is passed to the scope:
//
//     ErrorScope scope(50, log_it);
//     const bool whole = scope.Run([&] {
//         scope([&] { SrcRS->Open(...); });  // fails: the next line runs
//         while (scope.Enters([&] { return !SrcRS->Eof(); })) {  // fails: its block runs
//             ...
//         }
//     });
//
// A source that can't be reached thus ends in as many logged errors as are allowed: nothing has to
// ask whether the statement before it went well, and nothing runs on for ever. A statement that
// doesn't fail costs no more than its call.

#include "data/cancelled.h"
#include "data/data_error.h"
#include "data/error_text.h"

#include <cstdint>
#include <exception>
#include <functional>
#include <string_view>
#include <utility>

namespace vantry {

class ErrorScope {
public:
    using Tell = std::function<void(std::string_view description)>;

    // Before an error is told: what else must know of it while its row is still at hand.
    using Note = std::function<void(const std::exception& error)>;

    // Error number `limit` gives the walk up, after it was logged.
    ErrorScope(int limit, Tell tell, Note note = {})
        : limit_(limit), tell_(std::move(tell)), note_(std::move(note)) {}

    // The walk sets it at the start of each row; an error takes it away.
    bool RowOK = true;
    int ErrorCount = 0;
    // The next error gives the walk up, whatever its number.
    bool LastError = false;
    // The target was taken away or replaced: what it had is gone, and the walk is given up.
    bool TargetLost = false;
    // So many errors are left, of which the last one gives the walk up.
    int ErrorsLeft() const { return limit_ - ErrorCount; }
    // Called before an error is told: what was sent before and isn't answered yet comes first. May
    // be a walk's end itself.
    std::function<void()> BeforeError;
    // The user's cancel has stopped a statement. Neither that nor what fails because of it is an
    // error: nothing is told or counted any more but rows that are lost, and the walk finds the
    // cancel where it looks for one.
    bool Cancelled = false;
    // Called by the first such statement.
    std::function<void()> OnCancel;
    // Rows that had been sent well and that a later failure took back.
    std::int64_t LostRows = 0;

    template <typename Statement>
    void operator()(Statement&& statement) {
        try {
            statement();
        } catch (const std::exception& error) {
            Fail(error);
        }
    }

    // The condition of a loop or a block. When the condition itself fails, the statement after it
    // is the first one inside.
    template <typename Condition>
    bool Enters(Condition&& condition) {
        try {
            return condition();
        } catch (const std::exception& error) {
            Fail(error);
        }
        return true;
    }

    // Runs the walk; false when it was given up. An error outside a statement gives it up at once.
    template <typename Walk>
    bool Run(Walk&& walk) {
        try {
            walk();
            return true;
        } catch (const GiveUp&) {
        } catch (const std::exception& error) {
            if (IsConsequenceOfCancel(error)) {
                return true;
            }
            if (note_) {
                note_(error);
            }
            tell_(ErrorText(error));
        }
        return false;
    }

private:
    struct GiveUp {};  // no std::exception: statements around it let it pass

    bool IsConsequenceOfCancel(const std::exception& error) {
        if (IsCancelled(error) && !std::exchange(Cancelled, true) && OnCancel) {
            OnCancel();
        }
        const auto* const data_error = dynamic_cast<const DataError*>(&error);
        return Cancelled && (data_error == nullptr ||
                             (data_error->LostRows() == 0 && !data_error->TargetLost()));
    }

    [[gnu::cold, gnu::noinline]] void Fail(const std::exception& error) {
        if (BeforeError) {
            BeforeError();
        }
        RowOK = false;
        if (IsConsequenceOfCancel(error)) {
            return;
        }
        if (note_) {
            note_(error);
        }
        if (const auto* data_error = dynamic_cast<const DataError*>(&error)) {
            LostRows += data_error->LostRows();
            TargetLost = TargetLost || data_error->TargetLost();
            LastError = LastError || TargetLost;
        }
        tell_(ErrorText(error));
        ++ErrorCount;
        if (ErrorCount >= limit_ || LastError) {
            throw GiveUp();
        }
    }

    int limit_;
    Tell tell_;
    Note note_;
};

}  // namespace vantry
