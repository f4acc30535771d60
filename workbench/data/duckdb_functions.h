// The functions of DuckDB that are called, as pointers of the same names: DuckDB's library is
// large, and most runs do not need it, so it is loaded by the first session (RequireDuckDb).
#pragma once

#include <duckdb.h>

#include <string>

// clang-format off
#define VELMORA_DUCKDB_FUNCTIONS(FUNCTION) \
  FUNCTION(duckdb_bind_add_result_column)                  \
  FUNCTION(duckdb_bind_get_extra_info)                     \
  FUNCTION(duckdb_bind_set_cardinality)                    \
  FUNCTION(duckdb_close)                                   \
  FUNCTION(duckdb_column_count)                            \
  FUNCTION(duckdb_column_logical_type)                     \
  FUNCTION(duckdb_column_name)                             \
  FUNCTION(duckdb_column_type)                             \
  FUNCTION(duckdb_connect)                                 \
  FUNCTION(duckdb_create_config)                           \
  FUNCTION(duckdb_create_enum_type)                        \
  FUNCTION(duckdb_create_logical_type)                     \
  FUNCTION(duckdb_create_table_function)                   \
  FUNCTION(duckdb_data_chunk_get_column_count)             \
  FUNCTION(duckdb_data_chunk_get_size)                     \
  FUNCTION(duckdb_data_chunk_get_vector)                   \
  FUNCTION(duckdb_data_chunk_set_size)                     \
  FUNCTION(duckdb_destroy_config)                          \
  FUNCTION(duckdb_destroy_data_chunk)                      \
  FUNCTION(duckdb_destroy_logical_type)                    \
  FUNCTION(duckdb_destroy_pending)                         \
  FUNCTION(duckdb_destroy_prepare)                         \
  FUNCTION(duckdb_destroy_result)                          \
  FUNCTION(duckdb_destroy_table_function)                  \
  FUNCTION(duckdb_disconnect)                              \
  FUNCTION(duckdb_execute_pending)                         \
  FUNCTION(duckdb_fetch_chunk)                             \
  FUNCTION(duckdb_free)                                    \
  FUNCTION(duckdb_function_get_extra_info)                 \
  FUNCTION(duckdb_function_set_error)                      \
  FUNCTION(duckdb_init_set_max_threads)                    \
  FUNCTION(duckdb_interrupt)                               \
  FUNCTION(duckdb_is_finite_date)                          \
  FUNCTION(duckdb_is_finite_timestamp)                     \
  FUNCTION(duckdb_logical_type_get_alias)                  \
  FUNCTION(duckdb_open_ext)                                \
  FUNCTION(duckdb_pending_error)                           \
  FUNCTION(duckdb_pending_execute_task)                    \
  FUNCTION(duckdb_pending_prepared_streaming)              \
  FUNCTION(duckdb_prepare)                                 \
  FUNCTION(duckdb_prepare_error)                           \
  FUNCTION(duckdb_query)                                   \
  FUNCTION(duckdb_register_table_function)                 \
  FUNCTION(duckdb_result_error)                            \
  FUNCTION(duckdb_row_count)                               \
  FUNCTION(duckdb_set_config)                              \
  FUNCTION(duckdb_table_function_set_bind)                 \
  FUNCTION(duckdb_table_function_set_extra_info)           \
  FUNCTION(duckdb_table_function_set_function)             \
  FUNCTION(duckdb_table_function_set_init)                 \
  FUNCTION(duckdb_table_function_set_name)                 \
  FUNCTION(duckdb_validity_set_row_invalid)                \
  FUNCTION(duckdb_value_varchar)                           \
  FUNCTION(duckdb_vector_assign_string_element_len)        \
  FUNCTION(duckdb_vector_ensure_validity_writable)         \
  FUNCTION(duckdb_vector_get_data)                         \
  FUNCTION(duckdb_vector_get_validity)                     \
  FUNCTION(duckdb_vector_size)
// clang-format on

namespace velmora {

#define VELMORA_DUCKDB_POINTER(name) extern decltype(&::name) name;
VELMORA_DUCKDB_FUNCTIONS(VELMORA_DUCKDB_POINTER)
#undef VELMORA_DUCKDB_POINTER

// Loads the library once. Throws DataError where it is missing. Every session calls it.
void RequireDuckDb();

// Loads it, or gives null and a sentence in failure.
[[nodiscard]] void* LoadDuckDb(std::string& failure);

}  // namespace velmora
