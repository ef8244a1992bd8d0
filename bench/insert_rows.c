// Inserts 200,000 rows in one transaction into a table with an index, by SQLite.
#include <stdio.h>
#include <stdlib.h>

#include "sqlite3.h"

static void check(int result, sqlite3* database) {
  if (result == SQLITE_OK || result == SQLITE_DONE) return;
  fprintf(stderr, "insert_rows: %s\n", sqlite3_errmsg(database));
  exit(1);
}

int main(void) {
  enum { kRows = 200000 };
  sqlite3* database;
  sqlite3_stmt* insert;
  remove("rows.db");
  check(sqlite3_open("rows.db", &database), database);
  // Without waits for the disk, which are nobody's.
  check(sqlite3_exec(database,
                     "pragma synchronous = off; create table t(a integer primary key, b text, c "
                     "real); create index i on t(b); begin",
                     NULL, NULL, NULL),
        database);
  check(sqlite3_prepare_v2(database, "insert into t(b, c) values(?, ?)", -1, &insert, NULL),
        database);
  for (int i = 0; i < kRows; ++i) {
    char text[32];
    snprintf(text, sizeof text, "row %d", i * 7919 % 200003);
    sqlite3_bind_text(insert, 1, text, -1, SQLITE_TRANSIENT);
    sqlite3_bind_double(insert, 2, i / 7.0);
    check(sqlite3_step(insert), database);
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  check(sqlite3_exec(database, "commit", NULL, NULL, NULL), database);
  sqlite3_close(database);
  return remove("rows.db");
}
