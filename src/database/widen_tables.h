// Converts the tables of the history to their wide fields: whole addresses, longer site and browser names.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/date_time.h"
#include "core/status.h"
#include "ports/data_files.h"

namespace vantry {

struct WidenJob {
  DataFiles& files;
  std::string folder;  // The data folder, "/" at its end. The program that owns it does not run.
  Day today;
  std::function<void(const std::string& line)> tell;  // What was done, a line a table.
};

// Writes each narrow table beside the old one, makes all of them durable, then puts them in the place of the old ones,
// one after the other. Whenever it is interrupted each table is whole, narrow or wide, and another run goes on; the
// program takes both. Rows keep their numbers and their bytes, fields that grow get blanks. The index no longer fits
// and is built anew at the next start. kRefused when the program did not stop cleanly; the tables are as they were
// then, as after any other failure.
Status WidenTables(const WidenJob& job);

}  // namespace vantry
