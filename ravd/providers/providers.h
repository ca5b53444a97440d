// The providers of live values: one function per file of this folder, each giving its static tables.
// A new one gets a file, a line here and a row in providers.cpp.
#pragma once

#include "ravd/model/live.h"

namespace ravd {

Provider deviceinfo_provider();
Provider dns_provider();
Provider hosts_provider();
Provider interfaces_provider();
Provider memory_provider();
Provider processes_provider();
Provider processors_provider();
Provider routes_provider();
Provider system_provider();
Provider time_provider();
Provider users_provider();

}  // namespace ravd
