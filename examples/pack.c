/* Packs a file, and unpacks it again.
 *
 *   pack FILE PACKED        packs FILE into PACKED
 *   pack -u PACKED FILE     unpacks PACKED into FILE
 *
 * A long job shows its progress in a window, or in the last row of the
 * terminal.
 *
 * A packed file is the mark "TARNPACK", the size of the file (64 bits), and for
 * each 256 kB of it a head of three 32-bit numbers (the size of the piece, the
 * size of its packed form, and a checksum of the piece) and the packed form.
 * Any other file is refused.
 *
 * The result is first written beside its destination, with ".new" added to the
 * name, and renamed only when it is complete; if that fails, it is left under
 * that name. */
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/compression.h>
#include <tarn/progress.h>

#define PIECE (256 * 1024)
#define PACKED_PIECE (PIECE + PIECE / 4)
#define NAME_SIZE 1024

static const char mark[8] = {'T', 'A', 'R', 'N', 'P', 'A', 'C', 'K'};

struct head {
  unsigned int bytes, packed_bytes, sum;
};

static unsigned char piece[TARN_COMPRESSION_WINDOW + PIECE];
static unsigned char packed_piece[PACKED_PIECE];
static unsigned char* const data = piece + TARN_COMPRESSION_WINDOW;

/* Why a job failed; null: it did not. */
typedef const char* failure;

static unsigned int checksum(const unsigned char* bytes, unsigned int count) {
  unsigned int sum = 2166136261U;
  for (unsigned int i = 0; i < count; ++i) sum = (sum ^ bytes[i]) * 16777619U;
  return sum;
}

static int write_all(const void* bytes, size_t count, FILE* file) {
  return count == 0 || fwrite(bytes, 1, count, file) == count;
}

static void show_progress(long long done) { UpdateProgressDialog((int)(done / PIECE)); }

static failure pack(FILE* from, long long size, FILE* to) {
  if (!write_all(mark, sizeof mark, to) || !write_all(&size, sizeof size, to)) {
    return "the result cannot be written";
  }
  for (long long done = 0; done < size;) {
    int bytes = size - done < PIECE ? (int)(size - done) : PIECE;
    if (fread(data, 1, (size_t)bytes, from) != (size_t)bytes) return "it cannot be read";
    struct head head = {(unsigned int)bytes, 0, checksum(data, (unsigned int)bytes)};
    int length = 0;
    void* packed = __tarn_compress2(piece, bytes, &length);
    if (!packed) return "there is not enough storage";
    head.packed_bytes = (unsigned int)length;
    int written = write_all(&head, sizeof head, to) && write_all(packed, (size_t)length, to);
    free(packed);
    if (!written) return "the result cannot be written";
    done += bytes;
    show_progress(done);
  }
  return 0;
}

static failure unpack(FILE* from, long long size_packed, FILE* to) {
  char found[sizeof mark];
  long long size = 0;
  if (fread(found, 1, sizeof found, from) != sizeof found ||
      memcmp(found, mark, sizeof mark) != 0 || fread(&size, 1, sizeof size, from) != sizeof size ||
      size < 0) {
    return "it is not a packed file";
  }
  long long left = size_packed - (long long)(sizeof mark + sizeof size);
  for (long long done = 0; done < size;) {
    struct head head;
    if (fread(&head, 1, sizeof head, from) != sizeof head) return "it is cut short";
    if (head.bytes == 0 || head.bytes > PIECE || head.bytes > size - done ||
        head.packed_bytes > PACKED_PIECE) {
      return "it is damaged";
    }
    if (fread(packed_piece, 1, head.packed_bytes, from) != head.packed_bytes) {
      return "it is cut short";
    }
    int length = 0;
    unsigned char* bytes = __tarn_decompress(packed_piece, (int)head.packed_bytes, &length);
    int sound = bytes && length == (int)head.bytes && checksum(bytes, head.bytes) == head.sum;
    int written = sound && write_all(bytes, head.bytes, to);
    free(bytes);
    if (!sound) return "it is damaged";
    if (!written) return "the result cannot be written";
    left -= (long long)sizeof head + head.packed_bytes;
    done += head.bytes;
    show_progress(done);
  }
  return left == 0 ? 0 : "there is more after the packed file";
}

static failure copy(const char* from_path, const char* to_path) {
  FILE* from = fopen(from_path, "rb");
  if (!from) return "the result cannot be read again";
  FILE* to = fopen(to_path, "wb");
  failure why = to ? 0 : "the result cannot be opened";
  while (!why) {
    size_t bytes = fread(data, 1, PIECE, from);
    if (!write_all(data, bytes, to)) why = "the result cannot be written";
    if (bytes < PIECE) break;
  }
  if (to) fclose(to);
  fclose(from);
  return why;
}

static failure run(int unpacks, const char* from_path, const char* to_path) {
  static char new_path[NAME_SIZE];
  if (strlen(to_path) + sizeof ".new" > NAME_SIZE) return "the result's name is too long";
  strcat(strcpy(new_path, to_path), ".new");

  long long size = get_file_size(from_path);
  FILE* from = size < 0 ? 0 : fopen(from_path, "rb");
  if (!from) return "it cannot be opened";
  FILE* to = fopen(new_path, "wb");
  if (!to) {
    fclose(from);
    return "the result cannot be opened";
  }
  StartProgressDialog((int)(size / PIECE) + 1, unpacks ? "Unpacking" : "Packing", from_path);
  failure why = unpacks ? unpack(from, size, to) : pack(from, size, to);
  CloseProgressDialog();
  fclose(from);
  fclose(to);
  if (why) {
    _unlink(new_path);
    return why;
  }
  why = copy(new_path, to_path);
  if (why) {
    fprintf(stderr, "pack: the result is in %s\n", new_path);
    return why;
  }
  _unlink(new_path);
  printf("%s: %lld bytes\n%s: %lld bytes\n", from_path, size, to_path, get_file_size(to_path));
  return 0;
}

/* The library leaves quotes in arguments, so that a path with a slash or a
 * blank can be given in quotes; here they go. */
static char* unquoted(char* argument) {
  size_t length = strlen(argument);
  if (length >= 2 && (argument[0] == '"' || argument[0] == '\'') &&
      argument[length - 1] == argument[0]) {
    argument[length - 1] = '\0';
    return argument + 1;
  }
  return argument;
}

int main(int count, char** arguments) {
  int unpacks = count > 1 && strcmp(arguments[1], "-u") == 0;
  if (count != 3 + unpacks) {
    fprintf(stderr, "usage: pack FILE PACKED\n       pack -u PACKED FILE\n");
    return 2;
  }
  const char* from_path = unquoted(arguments[1 + unpacks]);
  const char* to_path = unquoted(arguments[2 + unpacks]);
  failure why = run(unpacks, from_path, to_path);
  if (why) {
    fprintf(stderr, "pack: %s: %s\n", from_path, why);
    return 1;
  }
  return 0;
}
