// Loaded before a program, makes its flushes do nothing: what they cost shows.
int syncfs(int file);
int fsync(int file);
int fdatasync(int file);

int syncfs(int file) {
  (void)file;
  return 0;
}

int fsync(int file) {
  (void)file;
  return 0;
}

int fdatasync(int file) {
  (void)file;
  return 0;
}
