#!/usr/bin/env python3
"""A GitHub of one repository, "o/r", for the real gh: TLS on 127.0.0.1:443, REST and GraphQL as far as gh
asks. Usage: github_server.py CERTIFICATE KEY LOG. Prints "ready" once it listens; "taken" or "forbidden"
when it cannot have the port. Each request is a line of the log: method, path, body."""

import errno
import http.server
import json
import re
import ssl
import sys
import time

HEAD = "a1b2c3d4e5f60718293a4b5c6d7e8f9012345678"
DATE = "2026-11-20T10:00:00Z"
PATCH = (
    "diff --git a/fish.c b/fish.c\nindex 1111111..2222222 100644\n--- a/fish.c\n+++ b/fish.c\n"
    "@@ -1 +1,2 @@\n int fish;\n+int count;\n"
)

CHECK = {
    "__typename": "CheckRun", "name": "build", "status": "COMPLETED", "conclusion": "SUCCESS",
    "startedAt": DATE, "completedAt": DATE, "detailsUrl": "https://localhost/o/r/actions/runs/1",
    "checkSuite": {"workflowRun": {"workflow": {"name": "CI"}}},
}
PULL = {
    "id": "PR_7", "number": 7, "title": "Count the fish", "body": "Counts **all**.", "state": "OPEN",
    "isDraft": False, "createdAt": DATE, "updatedAt": DATE, "url": "https://localhost/o/r/pull/7",
    "headRefName": "count-fish", "baseRefName": "main", "headRefOid": HEAD, "additions": 1, "deletions": 0,
    "changedFiles": 1, "reviewDecision": "REVIEW_REQUIRED", "author": {"login": "bob", "id": "U_2", "name": ""},
    "labels": {"nodes": [{"id": "L", "name": "fish", "description": "", "color": "fff"}], "totalCount": 1},
    "files": {"nodes": [{"path": "fish.c", "additions": 1, "deletions": 0}]},
    "statusCheckRollup": {"nodes": [{"commit": {"statusCheckRollup": {"contexts": {
        "nodes": [CHECK], "pageInfo": {"hasNextPage": False, "endCursor": ""}}}}}]},
}
ISSUE = {
    "id": "I_3", "number": 3, "title": "They bite", "state": "OPEN", "createdAt": DATE, "updatedAt": DATE,
    "url": "https://localhost/o/r/issues/3", "author": {"login": "cat", "id": "U_3", "name": ""},
    "labels": {"nodes": [], "totalCount": 0},
    "comments": {"nodes": [], "totalCount": 0, "pageInfo": {"hasNextPage": False, "endCursor": ""}},
}
RUN = {
    "id": 11, "name": "CI", "display_title": "Count the fish", "status": "completed", "conclusion": "failure",
    "event": "push", "head_branch": "count-fish", "head_sha": HEAD, "created_at": DATE, "updated_at": DATE,
    "run_started_at": DATE, "html_url": "https://localhost/o/r/actions/runs/11", "workflow_id": 5,
    "run_number": 1, "run_attempt": 1, "head_commit": {"message": "Count"},
    "head_repository": {"name": "r", "owner": {"login": "o"}},
}
REPOSITORY = {
    "id": "R_1", "name": "r", "nameWithOwner": "o/r", "owner": {"login": "o"}, "hasIssuesEnabled": True,
    "viewerPermission": "WRITE", "defaultBranchRef": {"name": "main"}, "isPrivate": False,
    "mergeCommitAllowed": True, "rebaseMergeAllowed": True, "squashMergeAllowed": True, "parent": None,
}
PAGE = {"pageInfo": {"hasNextPage": False, "endCursor": ""}}
WORKFLOW = {"id": 5, "name": "CI", "path": ".github/workflows/ci.yml", "state": "active"}


def repository():
    found = dict(REPOSITORY)
    found["pullRequest"] = PULL
    found["pullRequests"] = {"totalCount": 1, "nodes": [PULL], **PAGE}
    found["issues"] = {"totalCount": 1, "nodes": [ISSUE], **PAGE}
    return {"repository": found}


def graphql(query):
    # Which fields a server of its own knows, gh asks first.
    asked = re.findall(r"(\w+): __type\(", query)
    if asked:
        fields = {"fields": [{"name": name} for name in ("stateReason", "reviewDecision", "statusCheckRollup")]}
        return {alias: fields for alias in asked}
    if "viewer" in query and "repository" not in query:
        return {"viewer": {"login": "ann"}}
    return repository()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, body, status=200, kind="application/json"):
        data = (body if isinstance(body, str) else json.dumps(body)).encode()
        self.send_response(status)
        self.send_header("content-type", kind)
        self.send_header("content-length", str(len(data)))
        self.send_header("x-oauth-scopes", "repo, read:org, workflow")
        self.end_headers()
        self.wfile.write(data)

    def do_GET(self):
        self.note("")
        path = self.path.split("?")[0]
        if path in ("/api/v3/", "/api/v3"):
            self.answer({})
        elif path == "/api/v3/repos/o/r/pulls/7":
            self.answer(PATCH, kind="text/plain")
        elif path == "/api/v3/repos/o/r/actions/runs":
            self.answer({"total_count": 1, "workflow_runs": [RUN]})
        elif path.startswith("/api/v3/repos/o/r/actions/workflows"):
            last = path.rsplit("/", 1)[1]
            self.answer(WORKFLOW if last == "5" else {"total_count": 1, "workflows": [WORKFLOW]})
        else:
            self.answer({"message": "Not Found"}, 404)

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("content-length", 0))).decode()
        self.note(body)
        if self.path == "/api/graphql":
            self.answer({"data": graphql(json.loads(body)["query"])})
        elif self.path == "/api/v3/repos/o/r/pulls/7/comments":
            line = json.loads(body).get("line")
            if line == 2:
                self.answer({"html_url": "https://localhost/o/r/pull/7#discussion_r1"}, 201)
            else:
                self.answer({"message": "Validation Failed"}, 422)
        else:
            self.answer({"message": "Not Found"}, 404)

    def note(self, body):
        with open(sys.argv[3], "a", encoding="utf-8") as log:
            log.write(json.dumps([self.command, self.path, body]) + "\n")

    def log_message(self, *_):
        pass


def listen():
    """The port is one for the whole machine: another run of the tests may have it for a while."""
    end = time.monotonic() + 30
    while True:
        try:
            return http.server.ThreadingHTTPServer(("127.0.0.1", 443), Handler)
        except OSError as error:
            if error.errno in (errno.EACCES, errno.EPERM):
                return "forbidden"
            if time.monotonic() > end:
                return "taken"
            time.sleep(0.1)


def main():
    server = listen()
    if isinstance(server, str):
        print(server, flush=True)
        return
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(sys.argv[1], sys.argv[2])
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("ready", flush=True)
    server.serve_forever()


main()
