// The identities under which the stabilization task is reached through node, render and facade.
#pragma once

#include "kiv/values/Guid.h"

constexpr GUID kTaskIid{
    0x68DD06EF, 0x6B01, 0x3745, {0x34, 0x11, 0xFE, 0x06, 0x6E, 0xAC, 0xF5, 0x71}};
constexpr GUID kTaskableIid{
    0x003B7A96, 0x5FA1, 0x4B84, {0x98, 0xAD, 0xEC, 0xED, 0xB4, 0xA3, 0x4B, 0x27}};

inline bool IsTaskIdentity(const GUID& iid) { return iid == kTaskIid || iid == kTaskableIid; }
