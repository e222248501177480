/* Indexed data sources for scripts: tables of rows that the host declares, loads and shares between
 * all requests.
 *
 * A row has columns; the first one is its key (the index). Everywhere here a row is a text of its
 * columns, joined by the delimiter of the data source, so no value may hold that delimiter.
 *
 *     char *row;
 *
 *     wz_ids_insert("stock", "A-100,25,9.90");                      sku, quantity, price
 *     if (wz_ids_increment_field_value("stock", "A-100", "quantity", 5) == 0 &&
 *         (row = wz_ids_select("stock", "A-100")) != NULL) {        "30,9.90": without the key
 *       wz_save_string(row, "row");
 *       free(row);
 *     }
 *
 * Each call happens as a whole: requests that are served at the same time, in this process or
 * another one of the host, see a row before or after it. That holds for incrementing too, where
 * reading a value, computing and writing it back with two calls may lose what others wrote between.
 * A data source with persistence mode 2 is in its file when a call that changed it returns.
 *
 * Names of data sources and columns are compared byte for byte. What goes wrong is told in the
 * host's error log, while that is open. */
#ifndef WZ_IDS_H
#define WZ_IDS_H

#include <wz/wz_base.h>

WZ_BEGIN_DECLS

/**
 * Inserts a row.
 *
 * @param values  All columns, the key first.
 * @return        0; -1 when the key is there already, the number of columns is wrong or there is no
 *                such data source.
 */
WZ_API int wz_ids_insert(char *table_name, char *values);

/**
 * Reads a row.
 *
 * @param index  The key.
 * @return       The other columns, as a block of its own: give it to free(). Null when there is no
 *               such row or data source.
 */
WZ_API char *wz_ids_select(char *table_name, char *index);

/**
 * Replaces the columns of a row.
 *
 * @param index           The key of a row that exists.
 * @param updated_values  The other columns.
 * @return                0; -1 for an unknown row or data source. Also -1 when the number of
 * columns is wrong; the row is gone then, deliberately: the old row is deleted before the new one
 * is looked at, and scripts rely on not finding it afterwards.
 */
WZ_API int wz_ids_update(char *table_name, char *index, char *updated_values);

/** Deletes the row with the key `index`. -1 when there is none. */
WZ_API int wz_ids_delete(char *table_name, char *index);

/** Deletes all rows and empties the persistence file. -1 for an unknown data source and when that
 * went wrong. */
WZ_API int wz_ids_delete_all(char *table_name);

/**
 * Reads one column of a row.
 *
 * @param field_name  The column's name; that of the first column gives the key.
 * @return            Its text, borrowed from the host: in vsd it stays until 32 further columns
 * have been read. Null for an unknown row, column or data source.
 */
WZ_API char *wz_ids_get_field_value(char *table_name, char *index, char *field_name);

/** Replaces one column of a row; the key stays as it is. -1 for an unknown row, column or data
 * source, and for a value that holds the delimiter. */
WZ_API int wz_ids_set_field_value(char *table_name, char *index, char *field_name,
                                  char *updated_values);

/**
 * Adds to a column that holds a number.
 *
 * A whole number, with or without a sign, stays one: the fraction of `values` is cut off, so 5 and
 * 2.7 give 7. A number with a point gets six decimals: 5.5 and 1 give 6.500000. An empty column
 * counts as 0.
 *
 * @return  0; -1 for an unknown row, column or data source, and for a column that holds no number.
 */
WZ_API int wz_ids_increment_field_value(char *table_name, char *index, char *field_name,
                                        float values);

/** Subtracts, as wz_ids_increment_field_value adds. */
WZ_API int wz_ids_decrement_field_value(char *table_name, char *index, char *field_name,
                                        float values);

/** Adds (`operation` 0) or subtracts (1): what the two functions above call. */
WZ_API int wz_ids_update_field_value(char *table_name, char *index, char *field_name, float values,
                                     char operation);

WZ_END_DECLS

#endif
