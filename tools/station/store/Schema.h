/// @file
/// The tables of the database, and their versions.
#ifndef TAVIK_STATION_STORE_SCHEMA_H
#define TAVIK_STATION_STORE_SCHEMA_H

#include "store/Database.h"

namespace tavik::station {

/// Brings the tables of a database up to date, or creates them. Throws `StoreError` if the file belongs to another
/// program or to a newer version of this one.
void migrate(Database& database);

/// Rejects a database that `migrate` would reject, or that has no tables yet.
void requireUsable(Database& database);

}  // namespace tavik::station

#endif
