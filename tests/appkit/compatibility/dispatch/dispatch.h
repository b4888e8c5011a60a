#pragma once

/// The two queues of the dispatch library that the window uses, on threads.

enum { QOS_CLASS_USER_INITIATED = 0x19 };

using dispatch_queue_t = const struct dispatch_queue*;
using dispatch_block_t = void (^)();

dispatch_queue_t dispatch_get_main_queue();
dispatch_queue_t dispatch_get_global_queue(long identifier, unsigned long flags);
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
