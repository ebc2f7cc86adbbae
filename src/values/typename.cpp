#include "values/typename.h"

#include <string>

#include "driver/run.h"

namespace wp {

namespace {

const char* const kNames[54] = {
    "CHAR",
    "SMALLINT",
    "INT",
    "FLOAT",
    "SMALLFLOAT",
    "DECIMAL",
    "SERIAL",
    "DATE",
    "MONEY",
    "NULL",
    "DATETIME",
    "BYTES",
    "TEXT",
    "VARCHAR",
    "INTERVAL",
    "NCHAR",
    "NVCHAR",
    "INT8",
    "SERIAL8",
    "SQLSET",
    "SQLMULTISET",
    "SQLLIST",
    "SQLROW",
    "SQLCOLLECTION",
    "SQLROWREF",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "",
    "SQLUDTVAR",
    "SQLUDTFIXED",
    "SQLREFSER8",
    "SQLLVARCHAR",
    "SQLSENDRECV",
    "SQLBOOL",
    "SQLIMPEXP",
    "SQLIMPEXPBIN",
    "SQLUDRDEFAULT",
    "SQLDBSENDRECV",
    "SQLSRVSENDRECV",
    "SQLUNKNOWN",
    "BIGINT",
    "BIGSERIAL",
};

// Flag bits in the order they are listed; 0x1000 names two entries.
struct FlagName {
  int bit;
  const char* text;
};
const FlagName kFlags[] = {
    {0x0400, "FLT->DEC, "},          {0x0800, "DISTINCT, "}, {0x1000, "NAMED, "},
    {0x2000, "DLVARCHAR, "},         {0x4000, "DBOOLEAN, "}, {0x1000, "CONSTRUCTOR, "},
    {0x8000, "CLIENT COLLECTION, "},
};

}  // namespace

const char* sqltypename(int code) {
  return code >= 0 && code <= 53 ? kNames[code] : nullptr;
}

int printtypename(Run& run, int type, const char* prefix) {
  int code = type & 0xff;
  if (code > 53) {
    if (!run.opt.min) run.out.printf("\nERROR: Invalid Type (%hd).\n", static_cast<int16_t>(code));
    return -1;
  }
  std::string flags = type & 0x0100 ? "NOT NULLABLE, " : "NULLABLE, ";
  for (const FlagName& f : kFlags)
    if (type & f.bit) flags += f.text;
  flags.erase(flags.rfind(','));  // every entry ends in ", "
  if (!run.opt.min) run.out.printf("%s%s; %s\n", prefix, kNames[code], flags.c_str());
  run.out.flush();
  return 0;
}

}  // namespace wp
