/* libwzfaker: fake data. A library of its own (link with -lwzfaker); libwz finds it by itself when
 * a random-string variable names a class.
 *
 * A class is a kind of value with a dotted name, such as "person.name" or "finance.iban". Arguments
 * follow the name, each behind a semicolon: "number.integer;min=1;max=6". `vsd faker` lists the
 * classes with their arguments and an example each.
 *
 * Values are drawn from a generator per thread, seeded by the system unless wzlb_faker_seed says
 * otherwise. Results are valid until the thread's next call of the same function. Turning texts
 * into ids takes no lock: do it on one thread, at start-up.
 */
#ifndef WZLB_FAKER_H
#define WZLB_FAKER_H

#include <wz/wz_base.h>

/** Marks a function that libwzfaker.so exports. */
#define WZ_FAKER_API __attribute__((visibility("default")))

WZ_BEGIN_DECLS

/**
 * The id of a class.
 *
 * @param value  The class's name, and its arguments where it has some; not kept.
 * @return       An id, 0 and up, that holds as long as the process (and in its forks), the same for
 *               the same text. It carries the arguments with it. -1 for an unknown class, an
 * unknown argument, a bad value, a `min` above its `max`, a null pointer, and once 65536 different
 * texts with arguments have been asked for.
 */
WZ_FAKER_API int wzlb_faker_class_to_id(const char *value);

/**
 * A new value of a class.
 *
 * @param id    From wzlb_faker_class_to_id.
 * @param args  For the id of a plain name: its arguments, without the semicolon ahead of them; null
 *              or all bits set for none. Not looked at when the id carries arguments, so that a
 * host may pass whatever it keeps in their place.
 * @return      A NUL-terminated text in UTF-8, the library's, valid until the thread's next call;
 *              null for an unknown id, bad arguments and a lack of memory.
 */
WZ_FAKER_API const char *wzlb_faker_get_by_id(int id, const char *args);

/** Makes the calling thread's values from here on the same for the same `seed`. Values that count
 * from the present day, such as date.past, still change with it. */
WZ_FAKER_API void wzlb_faker_seed(unsigned long long seed);

/** What there is to know of a class. The texts live as long as the process. */
typedef struct WzFakerClass {
  const char *name;
  const char *description;
  const char *arguments; /**< such as "min=0 max=100", each with its default; empty for none */
} WzFakerClass;

/** The number of classes; their ids without arguments count from 0 up to it. */
WZ_FAKER_API int wzlb_faker_class_count(void);

/** Describes class `id` in `*info`; 0, or -1 when there is no such class or `info` is null. */
WZ_FAKER_API int wzlb_faker_describe_class(int id, WzFakerClass *info);

WZ_END_DECLS

#endif
