// The identities under which the stabilization task is reached through node, render and facade.
#pragma once

#include "kiv/platform/Tasks.h"

constexpr GUID kTaskIid = IKivTask::kIid;
constexpr GUID kTaskableIid = IKivTaskable::kIid;

inline bool IsTaskIdentity(const GUID& iid) { return iid == kTaskIid || iid == kTaskableIid; }
