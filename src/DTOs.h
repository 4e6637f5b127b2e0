#pragma once

// Every wire record. Each is a plain value with one table of its fields, from which its JSON forms
// (both directions) and its equality follow; the keys are the fields' names.
#include "src/DTOs/CalendarRecords.h"
#include "src/DTOs/ErrorResponse.h"
#include "src/DTOs/EventSnapshotRecords.h"
#include "src/DTOs/QueryRecords.h"
#include "src/DTOs/WriteRecords.h"
