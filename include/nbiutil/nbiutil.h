/// \file
/// The whole library in one include, for programs and for trying things out. Headers and larger
/// sources include what they use: this costs the compiler about as much as all the others together.
#pragma once

#include "nbiutil/ad.h"
#include "nbiutil/conversions.h"
#include "nbiutil/errcode.h"
#include "nbiutil/errorinfomgr.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/localrsakeymgr.h"
#include "nbiutil/nbirsa.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/poolsnapshot.h"
#include "nbiutil/processexception.h"
#include "nbiutil/sdxmlinterpreter.h"
#include "nbiutil/securebuffer.h"
#include "nbiutil/selfutilcommon.h"
#include "nbiutil/threadcontextinfo.h"
#include "nbiutil/threadcontextmgr.h"
#include "nbiutil/user.h"
#include "nbiutil/xmltag.h"
#include "nbiutil/zipfile.h"
