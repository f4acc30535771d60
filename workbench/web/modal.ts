// A dialog that is open as long as the state of the page says so.
import { useEffect, useRef } from "preact/hooks";

export function useModal(isOpen: boolean) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    if (!isOpen) dialog.current?.close();
    else if (!dialog.current?.open) dialog.current?.showModal();
  }, [isOpen]);
  return dialog;
}
