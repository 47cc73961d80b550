// What an AppImage of ours begins with: a static program with a squashfs image behind it.
//
// It mounts the image with FUSE and becomes the program inside, by exec: so the process id, its
// signals and its exit code are the program's own. A server process beside it answers the mount's
// requests; it holds the read end of a pipe whose write end the program and its children inherit,
// and when the last of them is gone it unmounts and removes the mount point. Where FUSE cannot be
// had, the image is extracted for the run.
//
//   --appimage-offset            prints where the image begins
//   --appimage-extract           extracts the image to ./squashfs-root
//   --appimage-extract-and-run   the next arguments are the program's; so does
//   APPIMAGE_EXTRACT_AND_RUN=1
//   --appimage-help              prints this list
//
// The program gets APPIMAGE (this file), APPDIR (the image's root), OWD (the caller's folder),
// ARGV0.

#define _GNU_SOURCE
#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ll.h>
#include <traverse.h>
#include <util.h>

#define kCannotRun 127

static char self[PATH_MAX];

// The library's LZO comes under another licence than ours and is not linked: our images are made
// with zstd.
int lzo1x_decompress_safe(const unsigned char* from, size_t length, unsigned char* to, size_t* room,
                          void* memory) {
    (void)from, (void)length, (void)to, (void)room, (void)memory;
    return -1;
}

__attribute__((format(printf, 1, 2))) static void complain(const char* format, ...) {
    va_list values;
    va_start(values, format);
    fputs("AppImage: ", stderr);
    vfprintf(stderr, format, values);
    fputc('\n', stderr);
    va_end(values);
}

// False if the text does not fit.
__attribute__((format(printf, 2, 3))) static bool path(char out[PATH_MAX], const char* format,
                                                       ...) {
    va_list values;
    va_start(values, format);
    const int length = vsnprintf(out, PATH_MAX, format, values);
    va_end(values);
    if (length >= 0 && length < PATH_MAX) return true;
    complain("a path is too long");
    return false;
}

// The end of the ELF file that this program is, which is where the image begins; 0 if it cannot be
// told.
static size_t imageOffset(void) {
    const int fd = open(self, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    Elf64_Ehdr head;
    struct stat info;
    const bool known = fstat(fd, &info) == 0 && pread(fd, &head, sizeof head, 0) == sizeof head &&
                       memcmp(head.e_ident, ELFMAG, SELFMAG) == 0 &&
                       head.e_ident[EI_CLASS] == ELFCLASS64;
    close(fd);
    if (!known) return 0;
    const uint64_t table = (uint64_t)head.e_shentsize * head.e_shnum;
    const uint64_t size = (uint64_t)info.st_size;
    // The section headers are the last thing in the file; the build checks that.
    if (head.e_shoff > size || table > size - head.e_shoff) return 0;
    return (size_t)(head.e_shoff + table);
}

// ---- extracting

static bool extractFile(sqfs* fs, sqfs_inode* inode, const char* target) {
    static char block[1 << 16];
    const int fd = open(target, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, inode->base.mode & 0777);
    if (fd < 0) return false;
    bool good = true;
    for (sqfs_off_t at = 0; good;) {
        sqfs_off_t got = sizeof block;
        good = sqfs_read_range(fs, inode, at, &got, block) == SQFS_OK;
        if (!good || got == 0) break;
        for (sqfs_off_t done = 0; good && done < got;) {
            const ssize_t wrote = write(fd, block + done, (size_t)(got - done));
            if (wrote < 0 && errno == EINTR) continue;
            good = wrote > 0;
            done += wrote;
        }
        at += got;
    }
    return close(fd) == 0 && good;
}

static bool extractLink(sqfs* fs, sqfs_inode* inode, const char* target) {
    char text[PATH_MAX];
    size_t size = sizeof text;  // the library ends the text with a zero byte
    return sqfs_readlink(fs, inode, text, &size) == SQFS_OK && symlink(text, target) == 0;
}

static bool extractEntry(sqfs* fs, sqfs_traverse* at, const char* folder) {
    sqfs_inode inode;
    char target[PATH_MAX];
    if (!path(target, "%s/%s", folder, at->path)) return false;
    if (sqfs_inode_get(fs, &inode, sqfs_dentry_inode(&at->entry)) != SQFS_OK) return false;
    const mode_t kind = inode.base.mode & S_IFMT;
    bool good = false;
    if (kind == S_IFDIR) good = mkdir(target, (inode.base.mode & 0777) | S_IRWXU) == 0;
    if (kind == S_IFREG) good = extractFile(fs, &inode, target);
    if (kind == S_IFLNK) good = extractLink(fs, &inode, target);
    if (!good) complain("could not extract %s", at->path);
    return good;
}

// Extracts the image into a folder that is there and empty.
static bool extractAll(size_t offset, const char* folder) {
    sqfs fs;
    if (sqfs_open_image(&fs, self, offset) != SQFS_OK) return false;
    sqfs_traverse at;
    sqfs_err error = SQFS_OK;
    bool good = sqfs_traverse_open(&at, &fs, sqfs_inode_root(&fs)) == SQFS_OK;
    while (good && sqfs_traverse_next(&at, &error))
        if (!at.dir_end) good = extractEntry(&fs, &at, folder);
    if (error != SQFS_OK) complain("the image is damaged");
    sqfs_traverse_close(&at);
    sqfs_fd_close(fs.fd);
    sqfs_destroy(&fs);
    return good && error == SQFS_OK;
}

static int removeEntry(const char* name, const struct stat* info, int kind, struct FTW* walk) {
    (void)info, (void)kind, (void)walk;
    (void)remove(name);  // what cannot be removed stays
    return 0;
}

static void removeTree(const char* folder) {
    (void)nftw(folder, removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

// ---- running

// A private folder of its own below the temporary one.
static bool makeFolder(char folder[PATH_MAX], const char* name) {
    const char* base = getenv("TMPDIR");
    if (!base || base[0] != '/') base = "/tmp";
    if (!path(folder, "%s/%s-XXXXXX", base, name)) return false;
    if (mkdtemp(folder)) return true;
    complain("could not make a folder in %s: %s", base, strerror(errno));
    return false;
}

static void become(const char* appDir, char** argv) {
    char program[PATH_MAX];
    if (!path(program, "%s/AppRun", appDir)) return;
    setenv("ARGV0", argv[0], 1);
    setenv("APPIMAGE", self, 1);
    setenv("APPDIR", appDir, 1);
    char folder[PATH_MAX];
    if (getcwd(folder, sizeof folder))
        setenv("OWD", folder, 1);
    else
        unsetenv("OWD");
    argv[0] = program;
    execv(program, argv);
    complain("could not run %s: %s", program, strerror(errno));
}

// Waits for the program in an extracted image and hands on the signals that ask it to end. They
// stay blocked from before it starts, so that none is lost; the program gets the mask that we were
// started with.
static int runAndWait(const char* appDir, char** argv) {
    sigset_t handled, before;
    sigemptyset(&handled);
    const int kinds[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGCHLD};
    for (size_t i = 0; i < sizeof kinds / sizeof *kinds; ++i) sigaddset(&handled, kinds[i]);
    sigprocmask(SIG_BLOCK, &handled, &before);
    const pid_t child = fork();
    if (child == 0) {
        sigprocmask(SIG_SETMASK, &before, NULL);
        become(appDir, argv);
        _exit(kCannotRun);
    }
    if (child < 0) {
        complain("could not start a process: %s", strerror(errno));
        return kCannotRun;
    }
    for (;;) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        int got = 0;
        // A signal that the terminal gives to the whole group reaches the program a second time,
        // which asks it to end as well.
        if (sigwait(&handled, &got) == 0 && got != SIGCHLD) kill(child, got);
    }
}

static int extractAndRun(size_t offset, char** argv) {
    char folder[PATH_MAX];
    if (!makeFolder(folder, "appimage-extracted")) return kCannotRun;
    const int code = extractAll(offset, folder) ? runAndWait(folder, argv) : kCannotRun;
    removeTree(folder);
    return code;
}

// ---- mounting

static const struct fuse_lowlevel_ops kOperations = {
    .lookup = sqfs_ll_op_lookup,
    .forget = sqfs_ll_op_forget,
    .getattr = sqfs_ll_op_getattr,
    .readlink = sqfs_ll_op_readlink,
    .open = sqfs_ll_op_open,
    .read = sqfs_ll_op_read,
    .release = sqfs_ll_op_release,
    .opendir = sqfs_ll_op_opendir,
    .readdir = sqfs_ll_op_readdir,
    .releasedir = sqfs_ll_op_releasedir,
    .getxattr = sqfs_ll_op_getxattr,
    .listxattr = sqfs_ll_op_listxattr,
    .statfs = stfs_ll_op_statfs,
};

// Answers requests until the mount is gone or nobody holds the pipe's other end.
static void answer(struct fuse_session* session, int alive) {
    struct fuse_buf buffer = {0};
    const int requests = fuse_session_fd(session);
    // A request can be taken back between poll and read; a read that waits would miss the pipe's
    // end.
    fcntl(requests, F_SETFL, fcntl(requests, F_GETFL) | O_NONBLOCK);
    while (!fuse_session_exited(session)) {
        struct pollfd waited[] = {{.fd = requests, .events = POLLIN},
                                  {.fd = alive, .events = POLLIN}};
        if (poll(waited, 2, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (waited[1].revents) break;
        if (!waited[0].revents) continue;
        const int got = fuse_session_receive_buf(session, &buffer);
        if (got == -EINTR || got == -EAGAIN) continue;
        if (got <= 0) break;
        fuse_session_process_buf(session, &buffer);
    }
    free(buffer.mem);
}

// It must outlive the program, whatever the terminal or the session tells them both; the pipe's end
// comes in any case.
static void standApart(void) {
    setsid();
    const int kinds[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE};
    for (size_t i = 0; i < sizeof kinds / sizeof *kinds; ++i) signal(kinds[i], SIG_IGN);
    prctl(PR_SET_NAME, "marlin-mount");
    if (chdir("/") != 0) complain("could not leave the folder: %s", strerror(errno));
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    // Its errors go on to the caller until the mount stands.
    if (nothing >= 0) dup2(nothing, STDIN_FILENO), dup2(nothing, STDOUT_FILENO);
}

// The server process, from mount to unmount. Writes one byte to `ready` once the mount stands.
static void serve(const char* folder, size_t offset, int alive, int ready) {
    standApart();
    sqfs_ll* image = sqfs_ll_open(self, offset);
    if (!image) return;
    char* words[] = {"marlin-bench", "-o", "ro,nodev,nosuid,fsname=marlin-bench,subtype=squashfuse",
                     NULL};
    struct fuse_args arguments = FUSE_ARGS_INIT(3, words);
    sqfs_ll_chan channel = {0};
    struct fuse_lowlevel_ops operations = kOperations;
    if (sqfs_ll_mount(&channel, folder, &arguments, &operations, sizeof operations, image) !=
        SQFS_OK)
        return;
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nothing >= 0) dup2(nothing, STDERR_FILENO);
    if (write(ready, "", 1) == 1) answer(channel.session, alive);
    sqfs_ll_unmount(&channel, folder);
    rmdir(folder);
    sqfs_ll_destroy(image);
    free(image);
}

// Starts the server by a process between, so that the program has no child that it does not know
// of. True once the mount stands. The write end of the pipe that keeps it is left open on purpose.
static bool startServer(const char* folder, size_t offset) {
    int alive[2], ready[2];
    if (pipe2(alive, O_CLOEXEC) != 0) return false;
    if (pipe2(ready, O_CLOEXEC) != 0) return close(alive[0]), close(alive[1]), false;
    const pid_t between = fork();
    if (between == 0) {
        close(alive[1]);
        close(ready[0]);
        if (fork() == 0) serve(folder, offset, alive[0], ready[1]);
        _exit(0);
    }
    close(alive[0]);
    close(ready[1]);
    if (between > 0)
        while (waitpid(between, NULL, 0) < 0 && errno == EINTR) continue;
    char byte;
    ssize_t got;
    do got = between < 0 ? -1 : read(ready[0], &byte, 1);
    while (got < 0 && between > 0 && errno == EINTR);
    close(ready[0]);
    if (got == 1 && fcntl(alive[1], F_SETFD, 0) == 0) return true;
    close(alive[1]);
    return false;
}

static int mountAndRun(size_t offset, char** argv) {
    char folder[PATH_MAX];
    if (!makeFolder(folder, ".mount-marlin-bench")) return kCannotRun;
    if (startServer(folder, offset)) {
        become(folder, argv);  // returns on failure only; the server goes when we do
        return kCannotRun;
    }
    rmdir(folder);
    complain("could not mount the image with FUSE; extracting it for this run");
    return extractAndRun(offset, argv);
}

static int extractHere(size_t offset) {
    if (mkdir("squashfs-root", 0755) != 0) {
        complain("could not make squashfs-root: %s", strerror(errno));
        return 1;
    }
    if (!extractAll(offset, "squashfs-root")) return 1;
    puts("squashfs-root");
    return 0;
}

static int help(FILE* out) {
    fputs("--appimage-offset            print where the image begins\n"
          "--appimage-extract           extract the image to ./squashfs-root\n"
          "--appimage-extract-and-run   extract the image for this run, and run it\n"
          "--appimage-help              print this\n"
          "Anything else goes to the program.\n",
          out);
    return out == stdout ? 0 : 1;
}

int main(int argc, char** argv) {
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
    if (length <= 0 || length >= (ssize_t)sizeof self) {
        complain("could not find its own file");
        return kCannotRun;
    }
    const size_t offset = imageOffset();
    if (offset == 0) {
        complain("could not read %s", self);
        return kCannotRun;
    }
    const char* word = argc > 1 ? argv[1] : "";
    if (strcmp(word, "--appimage-offset") == 0) return printf("%zu\n", offset) > 0 ? 0 : 1;
    if (strcmp(word, "--appimage-extract") == 0) return extractHere(offset);
    if (strcmp(word, "--appimage-help") == 0) return help(stdout);
    const char* wanted = getenv("APPIMAGE_EXTRACT_AND_RUN");
    if (strcmp(word, "--appimage-extract-and-run") == 0) {
        argv[1] = argv[0];
        return extractAndRun(offset, argv + 1);
    }
    if (strncmp(word, "--appimage-", 11) == 0) return help(stderr);
    if (wanted && *wanted && strcmp(wanted, "0") != 0) return extractAndRun(offset, argv);
    return mountAndRun(offset, argv);
}
