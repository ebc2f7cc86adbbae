#include "values/typename.h"

#include <string>

#include "driver/run.h"
#include "render/keys.h"

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
  const char* name;
};
const FlagName kFlags[] = {
    {0x0400, "FLT->DEC, ", "FLT->DEC"},
    {0x0800, "DISTINCT, ", "DISTINCT"},
    {0x1000, "NAMED, ", "NAMED"},
    {0x2000, "DLVARCHAR, ", "DLVARCHAR"},
    {0x4000, "DBOOLEAN, ", "DBOOLEAN"},
    {0x1000, "CONSTRUCTOR, ", "CONSTRUCTOR"},
    {0x8000, "CLIENT COLLECTION, ", "CLIENT COLLECTION"},
};

}  // namespace

const char* sqltypename(int code) {
  return code >= 0 && code <= 53 ? kNames[code] : nullptr;
}

int printtypename(Run& run, int type, const char* prefix, const char* key) {
  int code = type & 0xff;
  if (code > 53) {
    if (!run.opt.min) run.em.error("\nERROR: Invalid Type (%hd).\n", static_cast<int16_t>(code));
    return -1;
  }
  std::string flags = type & 0x0100 ? "NOT NULLABLE, " : "NULLABLE, ";
  // JSON has the same entries as an array of names (without their ", ").
  const char* names[8] = {type & 0x0100 ? "NOT NULLABLE" : "NULLABLE"};
  size_t count = 1;
  for (const FlagName& f : kFlags) {
    if (!(type & f.bit)) continue;
    flags += f.text;
    names[count++] = f.name;
  }
  flags.erase(flags.rfind(','));  // every entry ends in ", "
  if (!run.opt.min) {
    run.em.field(key, kNames[code], "%s%s; %s\n", prefix, kNames[code], flags.c_str());
    char flagsKey[64] = "";
    if (run.em.json()) joinKey(key, "_flags", flagsKey, sizeof flagsKey);
    run.em.also(flagsKey, Value::names(names, count));
  }
  run.out.flush();
  return 0;
}

}  // namespace wp
