#include "mkstore/default_schema.h"

#include <nlohmann/json.hpp>

namespace nimport::mkstore {
namespace {

constexpr const char* SCHEMA = R"json({
"Cabdata.mdb": {
  "tables": [
    {"name": "CabinetTBL",
     "columns": ["CabinetNo Integer", "CabinetName Text(64)", "SortNo Integer", "IconNo Byte"]},
    {"name": "FolderTBL",
     "columns": ["FolderNo Long", "CabinetNo Integer", "FolderName Text(64)",
                  "FolderType Integer", "Comment Memo"]},
    {"name": "DataTBL",
     "columns": ["DataNo Long", "FolderNo Long", "DataType Integer", "DataTitle Text(255)",
                "DataTime DateTime", "ReadFlag Boolean", "Mark Byte"]},
    {"name": "EmRcvText",
     "columns": ["DataNo Long", "OriginatorID Text(64)", "OriginatorName Text(128)",
                  "EmailMode Integer", "TextData Memo", "DataSize Long", "FileLink Text(255)",
                  "RcvTime DateTime"]},
    {"name": "EmRcvBin",
     "columns": ["DataNo Long", "OriginatorID Text(64)", "OriginatorName Text(128)",
                 "MailID Text(32)", "RcvFilePath Text(255)", "RcvFileSize Long"]},
    {"name": "EmFWBin",
     "columns": ["DataNo Long", "MailID Text(32)", "AdditionalIDList Memo"]},
    {"name": "EmRcvAb",
     "columns": ["DataNo Long", "DataTitle Text(255)", "DataTime DateTime",
                "OriginatorID Text(64)", "OriginatorName Text(128)", "TextData Memo",
                "DataSize Long"]},
    {"name": "EmSMail",
     "columns": ["DataNo Long", "ToField Memo", "CcField Memo", "TextData Memo",
                "ForwardText Memo", "DataSize Long", "FileLink Text(255)", "SendFlag Boolean"]},
    {"name": "EmUpload",
     "columns": ["DataNo Long", "RecipientList Memo", "UploadFilePath Text(255)",
                 "UploadFileSize Long"]},
    {"name": "EmSysop",
     "columns": ["DataNo Long", "SysopeID Text(64)", "TextData Memo", "TextDataSize Long"]},
    {"name": "EmCenter",
     "columns": ["DataNo Long", "CenterCode Text(64)", "BodyText Memo", "BodySize Long"]},
    {"name": "EmShop",
     "columns": ["DataNo Long", "ShopMasterID Text(64)", "TextData Memo", "TextDataSize Integer"]},
    {"name": "EmResp",
     "columns": ["DataNo Long", "DataTitle Text(255)", "DataTime DateTime", "RespID Text(64)",
               "TextData Memo", "TextDataSize Long"]}
  ],
  "queries": [
    {
      "name": "EmRcvTextｸｴﾘｰ",
      "columns": ["DataTBL.DataNo", "DataTBL.DataTitle", "DataTBL.DataTime",
                  "EmRcvText.OriginatorID", "EmRcvText.OriginatorName", "EmRcvText.EmailMode",
                  "EmRcvText.TextData", "EmRcvText.DataSize", "EmRcvText.FileLink"],
      "from": ["DataTBL", "EmRcvText"],
      "joins": [{"kind": "inner", "left": "DataTBL", "right": "EmRcvText",
                 "on": "DataTBL.DataNo = EmRcvText.DataNo"}]
    },
    {
      "name": "EmRcvBinｸｴﾘｰ",
      "columns": ["EmRcvBin.*", "DataTBL.DataTitle", "DataTBL.DataTime"],
      "from": ["EmRcvBin", "DataTBL"],
      "joins": [{"kind": "inner", "left": "EmRcvBin", "right": "DataTBL",
                 "on": "EmRcvBin.DataNo = DataTBL.DataNo"}]
    },
    {
      "name": "EmFWBinｸｴﾘｰ",
      "distinctRow": true,
      "columns": ["EmFWBin.*", "DataTBL.DataTitle", "DataTBL.DataTime", "DataTBL.FolderNo"],
      "from": ["DataTBL", "EmFWBin"],
      "joins": [{"kind": "inner", "left": "DataTBL", "right": "EmFWBin",
                 "on": "DataTBL.DataNo = EmFWBin.DataNo"}]
    },
    {
      "name": "EmRcvAbｸｴﾘｰ",
      "columns": ["EmRcvAb.DataNo", "EmRcvAb.DataTitle", "EmRcvAb.DataTime",
                  "EmRcvAb.OriginatorID", "EmRcvAb.OriginatorName", "EmRcvAb.TextData",
                  "EmRcvAb.DataSize"],
      "from": ["EmRcvAb"]
    },
    {
      "name": "EmSMailｸｴﾘｰ",
      "columns": ["DataTBL.DataNo", "DataTBL.DataTitle", "DataTBL.DataTime", "EmSMail.ToField",
                  "EmSMail.CcField", "EmSMail.TextData", "EmSMail.ForwardText",
                  "EmSMail.DataSize", "EmSMail.FileLink"],
      "from": ["DataTBL", "EmSMail"],
      "joins": [{"kind": "left", "left": "DataTBL", "right": "EmSMail",
                 "on": "DataTBL.DataNo = EmSMail.DataNo"}]
    },
    {
      "name": "EmUploadｸｴﾘｰ",
      "columns": ["EmUpload.*", "DataTBL.DataTitle", "DataTBL.DataTime"],
      "from": ["DataTBL", "EmUpload"],
      "joins": [{"kind": "inner", "left": "DataTBL", "right": "EmUpload",
                 "on": "DataTBL.DataNo = EmUpload.DataNo"}],
      "orderBy": [{"expression": "DataTBL.DataTime", "descending": true}]
    },
    {
      "name": "EmSysopｸｴﾘｰ",
      "columns": ["DataTBL.DataNo", "DataTBL.DataTitle", "DataTBL.DataTime", "EmSysop.SysopeID",
                  "EmSysop.TextData", "EmSysop.TextDataSize"],
      "from": ["DataTBL", "EmSysop"],
      "joins": [{"kind": "inner", "left": "DataTBL", "right": "EmSysop",
                 "on": "DataTBL.DataNo = EmSysop.DataNo"}],
      "where": "(((DataTBL.DataType)=24))"
    },
    {
      "name": "EmCenterｸｴﾘｰ",
      "columns": ["DataTBL.DataNo", "DataTBL.DataTitle", "DataTBL.DataTime",
                  {"expression": "EmCenter.CenterCode", "as": "CenterID"},
                  {"expression": "EmCenter.BodyText", "as": "TextData"},
                  {"expression": "EmCenter.BodySize", "as": "TextDataSize"}],
      "from": ["DataTBL", "EmCenter"],
      "joins": [{"kind": "inner", "left": "DataTBL", "right": "EmCenter",
                 "on": "DataTBL.DataNo = EmCenter.DataNo"}]
    },
    {
      "name": "EmShopｸｴﾘｰ",
      "columns": ["[EmShop].*", "[DataTBL].[DataTitle]", "[DataTBL].[DataTime]"],
      "from": ["DataTBL", "EmShop"],
      "joins": [{"kind": "inner", "left": "DataTBL", "right": "EmShop",
                 "on": "[DataTBL].[DataNo]=[EmShop].[DataNo]"}]
    },
    {
      "name": "EmRespｸｴﾘｰ",
      "from": ["EmResp"]
    },
    {
      "name": "フォルダ一覧ｸｴﾘｰ",
      "columns": ["CabinetTBL.CabinetName", "FolderTBL.FolderNo", "FolderTBL.FolderName"],
      "from": ["CabinetTBL", "FolderTBL"],
      "joins": [{"kind": "inner", "left": "CabinetTBL", "right": "FolderTBL",
                 "on": "CabinetTBL.CabinetNo = FolderTBL.CabinetNo"}],
      "orderBy": ["FolderTBL.FolderNo"]
    },
    {
      "name": "未読ｸﾘｱｸｴﾘｰ",
      "kind": 48,
      "rows": [{"attribute": 0, "flag": 0}, {"attribute": 1, "flag": 4},
               {"attribute": 3, "flag": 0}, {"attribute": 5, "name1": "DataTBL"},
               {"attribute": 6, "flag": 0, "name2": "DataTBL.ReadFlag", "expression": "Yes"},
               {"attribute": 255}]
    }
  ]
},
"Abook.mdb": {
  "tables": [
    {"name": "AddressBookTBL",
     "columns": ["KeyNo Long", "ParentKeyNo Long", "Type Integer", "Name Text(128)",
                       "UserID Text(128)", "Comment Memo", "Phone Text(32)",
                       "UpdateTime DateTime"]}
  ],
  "queries": []
}
})json";

}  // namespace

const nlohmann::json& DefaultSchema() {
  static const nlohmann::json schema = nlohmann::json::parse(SCHEMA);
  return schema;
}

}  // namespace nimport::mkstore
