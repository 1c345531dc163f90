// nimboxi: a Win32-style interface over POSIX. One header a topic; this one takes them all in.
#pragma once

#include "nimboxi/errors.h"
#include "nimboxi/files.h"
#include "nimboxi/finding.h"
#include "nimboxi/handles.h"
#include "nimboxi/layer.h"
#include "nimboxi/memory.h"
#include "nimboxi/modules.h"
#include "nimboxi/ports.h"
#include "nimboxi/profile.h"
#include "nimboxi/synch.h"
#include "nimboxi/system.h"
#include "nimboxi/text.h"
#include "nimboxi/thread_annotations.h"
#include "nimboxi/types.h"
#include "nimboxi/use_count.h"
