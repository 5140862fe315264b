// A row is AddNew, each field by its carrier, Update. A field that fails leaves its value unset,
// and Update isn't tried then: the row is logged once, under the field's words.

#include "engine/recordset_rows.h"

#include "core/table_names.h"

namespace vantry {

Field& RecordsetColumn::Target() const {
    return target != nullptr ? *target : DstRS->Fields()[position];
}

void CopyField(RecordsetColumn& column) {
    column.Put(column.source->Value());
}

std::string AddingSelect(const TableRec& source, const TableRec& target) {
    std::string select = "Select ";
    for (const auto* row : MappedColumnsOf(source.TabID)) {
        select += TargetColumnInList(TargetColumnName(source, *row));
    }
    CutLast(select);
    return select + " FROM " + TargetTableToAddTo(target.Name);
}

void RecordsetRows::Begin() {
    // Both objects are new for each table, also when the open fails: what an earlier table left
    // open ends here.
    auto& scope = load_.scope;
    DstConn = std::make_unique<Connection>();
    if (manner_.client_cursor) {
        DstConn->CursorLocation = adUseClient;
    }
    DstRS = std::make_unique<Recordset>();
    is_server_ = TargetIsServer();
    scope([] { Waited([] { DstConn->Open(TargetConnStr); }); });
    std::int32_t targets = 0;
    scope([&] {
        Waited([&] {
            DstRS->Open(AddingSelect(load_.source, load_.target),
                        *DstConn,
                        adOpenDynamic,
                        adLockOptimistic);
        });
        targets = DstRS->Fields().Count();
    });
    for (std::int32_t k = 0; k < SrcRS->Fields().Count(); ++k) {
        auto& column = columns_.emplace_back();
        column.source = &SrcRS->Fields()[k];
        column.position = k;
        column.scratch = &scratch_;
        column.carry = manner_.carrier(column.source->Type());
        // Looked up once: the target's fields stand still while it is open.
        if (k < targets) {
            column.target = &DstRS->Fields()[k];
        }
    }
    StartBar(load_);
}

bool RecordsetRows::TakeRow() {
    auto& scope = load_.scope;
    scope([] { DstRS->AddNew(); });
    for (auto& column : columns_) {
        scope([&] { column.carry(column); });
    }
    ++load_.rows.read;
    // Send passes it over when a field of the row has failed.
    Send([this] {
        if (is_server_) {
            Waited([] { DstRS->Update(); });
        } else {
            DstRS->Update();
        }
    });
    scope([] { SrcRS->MoveNext(); });
    manner_.after_row(load_);
    return !CancelRequested();
}

void RecordsetRows::End() {
    load_.scope([] { DstRS->Close(); });
}

// Close flushes what a file engine has batched, and throws the rows that didn't last.
void RecordsetRows::Settle() {
    DstRS->Close();
}

}  // namespace vantry
