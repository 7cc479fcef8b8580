// SPDX-License-Identifier: MIT
// journal.h - one JSON object a line for everything that happens, in the order in which it happened:
//
//   {"n":12,"ms":3204,"who":"store","what":"set","space":"nvram","key":"power","value":"off"}
//
// n counts from 1 without a gap, ms is virtual monotonic time. Written straight into the file under a lock in
// the shared page that survives a writer's death, so that a line stands before the call returns. Any thread,
// any process of the camera. What is written by whom:
//
//   stage   up | start program,pid | exit program,status or signal | reboot | stop
//           key state | head h,v, where it has come to rest
//   daemon  log level,text | led index,brightness,mode,on_ms,off_ms,priority,applied | led_priority priority
//           motor operation,value,length,result | statistics name,object | clock realtime_ms
//   store   set space,key,type,value,by | unset space,key,by | reset space,by | sync space,by | damaged text
//           connected by | left by
//   script  run name,arguments: one of the camera's scripts
//   cloud   connected | left | announced method | received text | sent text | network status | bound
//           read id,count,properties | written id,count,properties | reported property,name,value
//           kept property,name,value | pulled id,count,unknown,properties
//   player  connected | left | prompt bytes,lasts_ms | cut bytes,of | playing lasts_ms,at_ms,muted
//           played lasts_ms,at_ms,heard_ms | banned | unbanned | said name,text
//
// The player names a prompt that it knows with "name", and with "language" if it comes from a language's
// folder. It tells of a ban and its end only when they change something. at_ms is when the sound began or
// ended, which may be noticed a little later.
//
// A property is its number, "2.1"; what was answered other than by a value is told by "answered":false,
// "code" or "json":false (the value is then the text as it came). Texts that crossed a link stand whole in
// "text", as they were. A line that its writer's death or a full disk cut short has an end from the next
// writer and does not count; readers skip it.
#pragma once

#include <json-c/json.h>

// Takes fields (may be NULL) and adds its members after n, ms, who and what. False: there is no page, or the
// line could not be written. errno stays as it was.
bool journal_write(const char *who, const char *what, json_object *fields);
