#pragma once

// The whole library.
#include <mivo/Client.h>
#include <mivo/Error.h>
#include <mivo/Keys.h>
#include <mivo/Record.h>
#include <mivo/Value.h>
#include <mivo/Version.h>
