/*
 * parfile.h - files of parse trees that are replaced while others read them.
 *
 * Two mechanisms, which share one directory. A ring of file names with commit
 * markers: the writer of the next file makes it invisible, writes it and
 * commits it; readers ask for the file that was completed last. And numbered
 * names "main_tree%u.par", a fresh one for each tree.
 *
 * The state is that of the process. Directory and names are kept as pointers:
 * they must stay valid and unchanged. The directory is the one that was given
 * last, to either mechanism. Without one, or without names, nothing is found
 * and nothing is written.
 */
#ifndef KIV_PARFILE_H
#define KIV_PARFILE_H

#include <kiv/kiv.h>

KIV_EXTERN_C_BEGIN

/* The size of a file name with its NUL, in a ring and in the names below. */
#define KIV_PAR_FILE_NAME_SIZE 64

/* A marker's path "DIRECTORY/NAME_done" of 128 characters or more does not fit:
 * nothing is read, written or removed there. */
#define KIV_PAR_FILE_PATH_SIZE 128

/* -- Ring of files -------------------------------------------------------- */

/* Sets the directory and the ring of `count` names, which must be at least 1 before a name for
 * writing is asked for. Names without an end have KIV_PAR_FILE_NAME_SIZE characters. The place that
 * is written next (at first the first one) and the number of the next commit (at first 1) stay as
 * they are; the place is taken modulo `count`. Returns 0. */
KIV_API int file_ha_init(const char *dir, char (*names)[KIV_PAR_FILE_NAME_SIZE],
                         int32_t count) KIV_NOEXCEPT;

/* Returns the name to write next, in cyclic order, after removing its commit marker, so that no
 * reader is sent to it. The file is free to be written in place from then on, unless readers map it
 * or still have it open. Null where there are no names. */
KIV_API char *file_ha_current_writable_filename(void) KIV_NOEXCEPT;

/* Makes the file of this name the one that readers are sent to: writes its marker, which is to hold
 * the number of the commit in decimal. What the file holds must be on the disk by then. Returns 0,
 * or -1 where the marker cannot be written whole, and errno says why; there is no marker then, and
 * the number of commits stays. It stays at INT32_MAX, too. */
KIV_API int file_ha_commit(const char *name) KIV_NOEXCEPT;

/* Returns the name whose marker was written last, in seconds; among markers of the same second the
 * one with the greatest number, then the first of the ring. Null where there is no marker or no
 * name. A marker that cannot be read, or does not begin with a number, has the number -1; of a
 * number beyond int32_t, the nearest is taken. */
KIV_API char *file_ha_current_readable_filename(void) KIV_NOEXCEPT;

/* -- Numbered files ------------------------------------------------------- */

/* The numbered file in force and the one in preparation, without the directory. */
extern KIV_API char current_dynamic_par_file[KIV_PAR_FILE_NAME_SIZE];
extern KIV_API char new_dynamic_par_file[KIV_PAR_FILE_NAME_SIZE];

/* Begins above the highest number found in `dir`, and removes the file of that number, which may be
 * incomplete. A number is what stands between "main_tree" and the next ".", wherever in the name
 * that is; text that is no number counts as none, and so does a number below 0 or above 2^32 - 2.
 * A directory without any, or that cannot be read, is as one with the number 1. Prints the name of
 * the directory. Returns current_dynamic_par_file, which new_dynamic_par_file now equals. */
KIV_API char *kivd_dynamic_parfile_init(const char *dir) KIV_NOEXCEPT;

/* Returns new_dynamic_par_file with the next number. */
KIV_API char *kivd_get_new_dynamic_parfile_name(void) KIV_NOEXCEPT;

/* Makes the new name the current one. Both return current_dynamic_par_file. */
KIV_API char *kivd_update_current_dynamic_parfile_name(void) KIV_NOEXCEPT;
KIV_API char *kivd_get_current_dynamic_parfile_name(void) KIV_NOEXCEPT;

/* -- The default tree, /ubex/etc/par/default/main_tree.par ---------------- */

/* Compresses it with gzip (RFC 1952), in place of an older main_tree.par.gz. Returns the raw wait
 * status of the command, or -1 where there is no tree. */
KIV_API int kiv_default_parse_tree_zip(void) KIV_NOEXCEPT;

/* Expands it, unless it is there already, and lets everyone read and write it. Returns 0, or -1
 * where there is no tree afterwards. */
KIV_API int kiv_default_parse_tree_unzip(void) KIV_NOEXCEPT;

KIV_EXTERN_C_END

#endif
