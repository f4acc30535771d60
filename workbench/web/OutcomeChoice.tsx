// Which of several outcomes is shown.
export function OutcomeChoice({
  title,
  outcomes,
  outcome,
  choose,
}: {
  title: string;
  outcomes: string[];
  outcome: string;
  choose: (name: string) => void;
}) {
  return (
    <label class="line">
      {title}
      <select value={outcome} onChange={(event) => choose(event.currentTarget.value)}>
        {outcomes.map((one) => (
          <option key={one}>{one}</option>
        ))}
      </select>
    </label>
  );
}
