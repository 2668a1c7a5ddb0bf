#pragma once

// The whole library.
#include <mivo/Client.h>
#include <mivo/Described.h>
#include <mivo/Error.h>
#include <mivo/FactKeys.h>
#include <mivo/File.h>
#include <mivo/Job.h>
#include <mivo/Keys.h>
#include <mivo/MediaClient.h>
#include <mivo/Pending.h>
#include <mivo/Picture.h>
#include <mivo/Record.h>
#include <mivo/Source.h>
#include <mivo/Value.h>
#include <mivo/Version.h>
