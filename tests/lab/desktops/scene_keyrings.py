"""The keyrings that people have: each keeps the sign-in over restarts and holds up no window, whatever happens."""

import os
import shutil
import signal
import time

from stage import BUS, Atspi, bus_call, check, labctl, output, property_of, scene, until, windows_of

SERVICE = "org.freedesktop.secrets"
PASSWORD = "Correct-horse-42-battery"
# A window that answers within two seconds, and the time to read it here.
HELD_SECONDS = 3
# A database that shows its root group to other programs.
KEEPASSXC_DATABASE = """<KeePassFile><Meta><CustomData><Item>
  <Key>FDO_SECRETS_EXPOSED_GROUP</Key><Value>{00000000-0000-0000-0000-000000000001}</Value>
</Item></CustomData></Meta>
<Root><Group><UUID>AAAAAAAAAAAAAAAAAAAAAQ==</UUID><Name>Root</Name></Group></Root></KeePassFile>"""


def answer(stage, name, role=Atspi.Role.PUSH_BUTTON):
    stage.desktop.press(stage.desktop.wait_for(name, role, Atspi.get_desktop(0)))


def enter_password(stage, keys=PASSWORD):
    stage.desktop.wait_for("OK", Atspi.Role.PUSH_BUTTON, Atspi.get_desktop(0))
    until("the question active", lambda: "kwallet" in property_of(output("xdotool", "getactivewindow"), "WM_CLASS"))
    stage.desktop.type(keys)
    stage.desktop.key("Return")


def keyring_process():
    return int(bus_call(BUS, "/", BUS + ".GetConnectionUnixProcessID", SERVICE).split()[1].rstrip(",)"))


def longest_silence(client, seconds, button=None):
    """The longest time that the window leaves its reader without an answer, in so many seconds from a press on."""
    answers = [time.monotonic()]
    if button:
        client.press(button)
    while answers[-1] < answers[0] + seconds:
        until("an answer of the window", client.desktop.texts)
        answers.append(time.monotonic())
    return max(later - answer for answer, later in zip(answers, answers[1:]))


def signs_in_and_connects(client):
    client.sign_in(os.environ["VELMORA_LAB_USER"], os.environ["VELMORA_LAB_PASSWORD"])
    check("signing in does not hold the window", (held := longest_silence(client, 3)) < 1.5, held)
    client.choose("Berlin")
    client.connect()
    client.disconnect()


# How long a new start of the client takes to its window.
def restart(client):
    client.kill()
    began = time.monotonic()
    client.start()
    until("a window", windows_of)
    return time.monotonic() - began


def has_kept_all(stage):
    """The sign-in leads home, and the profile, started by another program, to the tunnel's secrets."""
    stage.client.choose("Berlin")
    stage.run("nmcli", "connection", "up", "Velmora")
    stage.desktop.wait_for_text("Connected")
    stage.client.disconnect()


def keepassxc(stage, confirms):
    """The client signed in with KeePassXC, whose database is open, and restarted."""
    labctl("keyring", "kill")
    stage.write(".config/keepassxc/keepassxc.ini", "[General]\nConfigVersion=2\nUpdateCheckMessageShown=true\n"
                f"[FdoSecrets]\nEnabled=true\nShowNotification=false\nConfirmAccessItem={str(confirms).lower()}\n")
    xml = stage.write("lab.xml", KEEPASSXC_DATABASE)
    stage.run("keepassxc-cli", "import", "-p", xml, xml + ".kdbx", text="lab\nlab\n")
    stage.spawn("keepassxc", "sh", "-c", f"echo lab | keepassxc --pw-stdin {xml}.kdbx")
    until("the database open", lambda: "false" in bus_call(
        SERVICE, "/org/freedesktop/secrets/aliases/default", BUS + ".Properties.Get",
        "org.freedesktop.Secret.Collection", "Locked"))
    client = stage.start_client()
    signs_in_and_connects(client)
    restart(client)
    return client


@scene("keepassxc")
def keepassxc_that_confirms(stage):
    client = keepassxc(stage, confirms=True)
    answer(stage, "Allow Selected")
    has_kept_all(stage)
    client.kill()
    forgetting = stage.spawn("forget", client.program, "--forget")
    answer(stage, "Allow Selected")
    check("one question, and all is forgotten",
          forgetting.wait(30) == 0 and "holds nothing" in stage.run(client.program, "--forget"))


@scene("keepassxc")
def keepassxc_that_confirms_nothing(stage):
    keepassxc(stage, confirms=False)
    has_kept_all(stage)


@scene("libkf5wallet-bin|kwallet6")
def kwallet(stage):
    program = shutil.which("kwalletd6") or shutil.which("kwalletd5")
    name = os.path.basename(program)
    wallets = "org.kde." + name, "/modules/" + name

    # The items of a wallet that is opened again stand at other paths.
    def new_session():
        client.kill()
        bus_call(*wallets, "org.kde.KWallet.closeAllWallets")
        os.kill(keyring_process(), signal.SIGKILL)
        until("KWallet's end", lambda: SERVICE not in bus_call(BUS, "/", BUS + ".ListNames"))

    labctl("keyring", "kill")
    stage.write(".config/kwalletrc", "[Wallet]\nFirst Use=false\n[org.freedesktop.secrets]\napiEnabled=true\n")
    # Installed, not running, and without a wallet.
    stage.start_on_demand(SERVICE, program)
    stage.start_on_demand(wallets[0], program)
    client = stage.start_client()
    client.desktop.wait_for("No default keyring: set one up when asked, or in your desktop's password settings")
    check("the person can read it before the question", not windows_of(name))
    answer(stage, "Classic, blowfish encrypted file", Atspi.Role.RADIO_BUTTON)
    stage.desktop.picture("new-wallet")
    answer(stage, "Finish")
    enter_password(stage, PASSWORD + "\t" + PASSWORD)
    until("no strip", lambda: client.desktop.find("Needs attention") is None)
    signs_in_and_connects(client)

    new_session()
    client.start()
    enter_password(stage)
    has_kept_all(stage)

    # A program of KDE's has it opened before: nobody is asked again.
    new_session()
    opening = stage.spawn("kde", "gdbus", "call", "--session", "--dest", wallets[0], "--object-path", wallets[1],
                          "--method", "org.kde.KWallet.open", "Default keyring", "0", "kde")
    enter_password(stage)
    opening.wait(30)
    client.start()
    has_kept_all(stage)


@scene()
def gnome_keyring_stands_still(stage):
    client = stage.start_client()
    as_ever = restart(client)
    signs_in_and_connects(client)
    process = keyring_process()
    os.kill(process, signal.SIGSTOP)
    for press, bound in (("a connect holds the window once", HELD_SECONDS), ("the next one does not", 1)):
        check(press, (held := longest_silence(client, 2 * HELD_SECONDS, "Quick Connect")) < bound, held)
    check("the window is there within a second", (took := restart(client)) < max(1, as_ever + 0.7), (took, as_ever))
    client.button("Sign in")
    os.kill(process, signal.SIGCONT)
    has_kept_all(stage)


@scene("gcr4|gcr")
def gnome_keyring_is_locked(stage):
    """A slow person, asked once, does not unlock it: the client works as ever, and nothing is lost."""
    stage.start_on_demand("org.gnome.keyring.SystemPrompter", "/usr/libexec/gcr-prompter")
    labctl("keyring", "lock")
    process = keyring_process()
    client = stage.start_client()
    until("a prompt", lambda: windows_of("gcr-prompter"))
    held = longest_silence(client, 25)
    check("the window and the keyring live", held < HELD_SECONDS and keyring_process() == process, held)
    stage.desktop.picture("prompt")
    stage.desktop.key("Escape")
    until("no prompt", lambda: not windows_of("gcr-prompter"))
    signs_in_and_connects(client)
    client.desktop.wait_for("Needs attention")
    check("nobody is asked again", not windows_of("gcr-prompter") and keyring_process() == process)
    labctl("keyring", "unlock")
    until("no strip", lambda: client.desktop.find("Needs attention") is None)
    restart(client)
    has_kept_all(stage)
