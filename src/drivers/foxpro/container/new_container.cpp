// The three files are made whole in a folder of their own beside the place where they belong, and
// moved there one by one, the .dbc last: it alone decides whether there is a container. What a
// killed program left of the other two is known by being just what a new container has, and taken
// away; anything else in their place is somebody's and stays.

#include "drivers/foxpro/container/new_container.h"

#include "drivers/foxpro/container/container_change.h"
#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/memo/memo_file.h"
#include "drivers/foxpro/table/code_page_marks.h"
#include "drivers/foxpro/table/sidecars.h"
#include "drivers/foxpro/write/table_creator.h"
#include "files/file.h"
#include "files/file_errors.h"

#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vantry::foxpro {
namespace {

namespace fs = std::filesystem;

struct FieldOfContainer {
    std::string_view name;
    char type;
    std::size_t length;
    bool binary;
};
// In the order of the kContainer... numbers.
constexpr std::array<FieldOfContainer, kContainerFields> kFields = {{
    {"OBJECTID", 'I', 4, false},
    {"PARENTID", 'I', 4, false},
    {"OBJECTTYPE", 'C', 10, false},
    {"OBJECTNAME", 'C', kMaxLongName, false},
    {"PROPERTY", 'M', 4, true},
    {"CODE", 'M', 4, true},
    {"RIINFO", 'C', 6, false},
    {"USER", 'M', 4, false},
}};

// By these FoxPro finds an object; without them a container's tables are there for nobody.
std::vector<TagDefinition> TagsOfContainer() {
    std::vector<TagDefinition> tags(2);
    tags[0].name = "OBJECTNAME";
    tags[0].expression = "STR(parentid)+objecttype+LOWER(objectname)";
    tags[1].name = "OBJECTTYPE";
    tags[1].expression = "STR(parentid)+objecttype";
    tags[0].filter = tags[1].filter = ".NOT.DELETED()";
    return tags;
}

TableLayout LayoutOfContainer(std::uint8_t code_page_mark) {
    TableLayout layout;
    layout.flags = kIsContainer | kHasMemo | kHasStructuralIndex;
    layout.code_page_mark = code_page_mark;
    std::size_t offset = 1;
    for (const auto& described : kFields) {
        Field field;
        field.name = field.long_name = described.name;
        field.type = described.type;
        field.offset = offset;
        field.length = described.length;
        field.binary = described.binary;
        offset += field.length;
        layout.fields.push_back(std::move(field));
    }
    layout.record_length = offset;
    layout.header_length =
        kFixedHeaderSize + kDescriptorSize * layout.fields.size() + 1 + kBackLinkSize;
    return layout;
}

void WriteWhole(const std::string& path, ByteSpan bytes) {
    auto created = file::File::CreateNew(path, false);
    if (!bytes.empty()) {
        created.Write(0, bytes);
    }
    // Before it gets its name: what has a name must be whole after a power failure, too.
    created.Sync();
}

// Makes tags and the objects that every container has, in files that have neither.
// The index first, empty, so that the objects go into it as they do later.
void Fill(const std::string& path) {
    {
        TableFile file(path, {}, {});
        file.Group().Begin();
        try {
            CreateIndex(file.Group(),
                        file.IndexMember().value(),
                        file.Layout(),
                        TagsOfContainer(),
                        [](const auto&) {});
        } catch (...) {
            file.Group().Rollback();
            throw;
        }
        file.Group().Commit();
    }
    Container container(path, {});
    ContainerChange change(container);
    for (const auto name : kDatabaseObjects) {
        std::vector<Property> properties;
        if (name == kDatabaseObjects.front()) {
            properties.push_back(NumberProperty(kPropertyVersion, kContainerVersion));
        }
        change.AddObject(kContainerRoot, kDatabaseType, name, properties);
    }
    change.Commit();
}

std::string ContentOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// What a killed program left is the same byte for byte; anything else isn't ours to remove.
void MoveInPlace(const std::string& from, const std::string& to) {
    if (file::StampOf(to)) {
        if (ContentOf(from) != ContentOf(to)) {
            throw CannotWrite(to,
                              "the file is there already. Move it away, or choose another name");
        }
        file::RemoveFile(to);
    }
    file::RenameNoReplace(from, to);
}

}  // namespace

void CreateContainer(const std::string& path, int code_page) {
    const auto mark = MarkOfCodePage(code_page);
    if (!mark) {
        throw CannotWrite(path,
                          "FoxPro has no mark for the code page " + std::to_string(code_page) +
                              ". Name another one by CodePage= in the connection string");
    }
    if (file::StampOf(path)) {
        throw CannotWrite(path, "there is such a file already. Choose another name");
    }
    const fs::path beside = path + ".new-" + std::to_string(::getpid());
    const auto at_work = (beside / fs::path(path).filename()).string();
    std::error_code error;
    fs::remove_all(beside, error);  // of a killed program that had our number
    if (!fs::create_directory(beside, error)) {
        throw CannotWrite(path, "its folder can't be written: " + error.message());
    }
    constexpr std::array<std::string_view, 2> kSidecars = {".dct", ".dcx"};
    std::vector<std::string> moved;
    const auto forget = [&] {
        for (const auto& file : moved) {
            fs::remove(file, error);
        }
        fs::remove_all(beside, error);
    };
    try {
        WriteWhole(Sidecar(at_work, ".dct"), NewMemoFile(MemoFormat::Fpt, {}));
        WriteWhole(Sidecar(at_work, ".dcx"), {});
        WriteWhole(at_work, HeaderBytes(LayoutOfContainer(*mark), true));
        Fill(at_work);
        for (const auto extension : kSidecars) {
            MoveInPlace(Sidecar(at_work, extension), Sidecar(path, extension));
            moved.push_back(Sidecar(path, extension));
        }
        file::RenameNoReplace(at_work, path);
        // From here on there is a container, which needs both, even if the folder can't be synced.
        moved.clear();
        file::SyncFolderOf(path);
    } catch (const DataError& failure) {
        forget();
        // The user gave the path; the folder beside it, which the failure names, is gone by now.
        throw file::ToldOf(failure, fs::path(path).parent_path().string(), beside.string());
    } catch (...) {
        forget();
        throw;
    }
    fs::remove_all(beside, error);
}

}  // namespace vantry::foxpro
