// The holiday table of the process.
#pragma once

namespace wz {

// Appends the rows of `<work directory>/sys/holidays.dat` to the table, unless reading is switched
// off; a missing file is no error. Every call appends again, deliberately: each declaration that
// names a day type takes the file as it is then.
void read_holiday_file();

}  // namespace wz
