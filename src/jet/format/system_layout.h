// The tables of the engine's own: where they begin, their columns and what stands in them. For the
// reader, the writer of test stores and the tests.
//
// Measured on the same files as jet_layout.h. Every one has these tables at these pages, with these
// columns in this order, whatever else it has.
#ifndef NIMPORT_JET_FORMAT_SYSTEM_LAYOUT_H_
#define NIMPORT_JET_FORMAT_SYSTEM_LAYOUT_H_

#include <array>
#include <cstdint>
#include <string_view>

#include "jet/value.h"

namespace nimport::jet {

inline constexpr std::uint32_t OBJECTS_PAGE = 2;
inline constexpr std::uint32_t QUERIES_PAGE = 4;
inline constexpr std::uint32_t RELATIONSHIPS_PAGE = 5;

inline constexpr std::string_view OBJECTS_TABLE = "MSysObjects";
inline constexpr std::string_view PERMISSIONS_TABLE = "MSysACEs";
inline constexpr std::string_view QUERIES_TABLE = "MSysQueries";
inline constexpr std::string_view RELATIONSHIPS_TABLE = "MSysRelationships";

// A column of a system table. Ids count from 0 in this order; fixed offsets and variable slots are
// running sums over it.
struct SystemColumn {
  std::string_view name;
  ColumnType type;
  // Of texts and binaries, in characters and bytes of Jet 3; Jet 4 holds twice as many bytes.
  std::uint16_t size = 0;
  bool inJet3 = true;
};

inline constexpr std::array<SystemColumn, 17> OBJECTS_COLUMNS = {{
    {"Id", ColumnType::Long},
    {"ParentId", ColumnType::Long},
    {"Name", ColumnType::Text, 255},
    {"Type", ColumnType::Integer},
    {"DateCreate", ColumnType::DateTime},
    {"DateUpdate", ColumnType::DateTime},
    {"Owner", ColumnType::Binary, 255},
    {"Flags", ColumnType::Long},
    {"Database", ColumnType::Memo},
    {"Connect", ColumnType::Memo},
    {"ForeignName", ColumnType::Text, 255},
    {"RmtInfoShort", ColumnType::Binary, 255},
    {"RmtInfoLong", ColumnType::Ole},
    {"Lv", ColumnType::Ole},
    {"LvProp", ColumnType::Ole},
    {"LvModule", ColumnType::Ole},
    {"LvExtra", ColumnType::Ole},
}};

inline constexpr std::array<SystemColumn, 4> PERMISSIONS_COLUMNS = {{
    {"ObjectId", ColumnType::Long},
    {"SID", ColumnType::Binary, 255},
    {"ACM", ColumnType::Long},
    {"FInheritable", ColumnType::Boolean},
}};

inline constexpr std::array<SystemColumn, 8> QUERIES_COLUMNS = {{
    {"ObjectId", ColumnType::Long},
    {"Attribute", ColumnType::Byte},
    {"Order", ColumnType::Binary, 255},
    {"Name1", ColumnType::Text, 255},
    {"Name2", ColumnType::Text, 255},
    {"Expression", ColumnType::Memo},
    {"Flag", ColumnType::Integer},
    {"LvExtra", ColumnType::Long, 0, false},
}};

inline constexpr std::array<SystemColumn, 8> RELATIONSHIPS_COLUMNS = {{
    {"szRelationship", ColumnType::Text, 255},
    {"grbit", ColumnType::Long},
    {"ccolumn", ColumnType::Long},
    {"icolumn", ColumnType::Long},
    {"szObject", ColumnType::Text, 255},
    {"szColumn", ColumnType::Text, 255},
    {"szReferencedObject", ColumnType::Text, 255},
    {"szReferencedColumn", ColumnType::Text, 255},
}};

// MSysObjects.Type.
inline constexpr std::int32_t OBJECT_TABLE = 1;  // its Id is the page of its definition
inline constexpr std::int32_t OBJECT_DATABASE = 2;
inline constexpr std::int32_t OBJECT_CONTAINER = 3;
inline constexpr std::int32_t OBJECT_ODBC_LINK =
    4;  // a table of another database; "Connect" says which
inline constexpr std::int32_t OBJECT_QUERY = 5;
// A table of another file: "Database" is its path, "Connect" its kind where it is no Jet database.
inline constexpr std::int32_t OBJECT_LINK = 6;

// MSysObjects.Id and ParentId.
inline constexpr std::int32_t ID_ROOT = 0x0F000000;
inline constexpr std::int32_t ID_TABLES = 0x0F000001;  // parent of tables and stored queries
inline constexpr std::int32_t ID_DATABASES = 0x0F000002;
inline constexpr std::int32_t ID_RELATIONSHIPS = 0x0F000003;
inline constexpr std::int32_t ID_DATABASE_PROPERTIES = 0x10000000;
inline constexpr std::uint32_t ID_FIRST_OTHER = 0x80000000;  // every other object, ascending
inline constexpr std::uint32_t ID_PAGE_MASK = 0x00FFFFFF;    // of a table

// MSysObjects.Flags.
inline constexpr std::uint32_t OBJECT_ENGINE_SYSTEM = 0x80000000;
inline constexpr std::uint32_t OBJECT_SYSTEM = 0x00000002;
inline constexpr std::uint32_t OBJECT_QUERY_KIND_MASK = 0x000000F0;

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_SYSTEM_LAYOUT_H_
